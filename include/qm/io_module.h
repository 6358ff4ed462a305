/**
 * @file
 * I/O module objects, for driver code in C++: what a module is and where it sits, and a list by which blocks
 * find the object that another block has made. In C this header is empty.
 */
#ifndef QM_IO_MODULE_H
#define QM_IO_MODULE_H

#include <qm/api.h>
#include <qm/pci.h>

#ifdef __cplusplus

#include <list>
#include <utility>

/** The objects of the library's interface in C++. */
namespace qm {

/** Kinds of I/O modules, by model number. */
enum ModuleTypes QM_ENUM_INT32
{
    nxAny = 0, /**< any or unknown */
    nx230 = 230,
    nx231 = 231,
    kNx402 = 402,
    kNx4022 = 4022,
    kNx4024 = 4024,
    kNx403 = 403,
    kNx423 = 423,
    kNx491 = 491
};

/**
 * One I/O module. Owned by the block that makes it. Errors: none. Real-time safe: yes. Thread-safe: no.
 */
class IoModule
{
public:
    /** A module of unknown kind, number 0, not located. */
    IoModule() = default;
    /**
     * A module that is not located.
     *
     * @param type Kind.
     * @param id   Number among the modules of its kind.
     */
    IoModule(ModuleTypes type, int32_t id) : m_type(type), m_id(id) {}

    /** Sets the kind. @param type The kind. */
    void setType(ModuleTypes type) { m_type = type; }
    /** Gives the kind. @return The kind. */
    ModuleTypes getType() const { return m_type; }
    /** Sets the number among the modules of its kind, as the model counts them. @param id The number. */
    void setId(int32_t id) { m_id = id; }
    /** Gives the number among the modules of its kind. @return The number. */
    int32_t getId() const { return m_id; }
    /** Sets the position in the automatic search. @param position The position; -1 until set. */
    void setPciAutosearchPos(int32_t position) { m_pciAutosearchPos = position; }
    /** Gives the position in the automatic search. @return The position. */
    int32_t getPciAutosearchPos() const { return m_pciAutosearchPos; }
    /** Sets PCI bus and slot. @param busAndSlot The two. */
    void setPciInfo(std::pair<int32_t, int32_t> busAndSlot) { m_pciInfo = busAndSlot; }
    /** Gives PCI bus and slot. @return The two; (-1, -1): not located. */
    std::pair<int32_t, int32_t> getPciInfo() const { return m_pciInfo; }

private:
    friend struct IoModuleLayout;

    ModuleTypes m_type = nxAny;
    int32_t m_id = 0;
    int32_t m_pciAutosearchPos = -1;
    std::pair<int32_t, int32_t> m_pciInfo = {-1, -1};
};

/** The process's list of I/O module objects. It only keeps pointers: modules stay their makers'. */
class IoModuleRegistry
{
public:
    /**
     * Puts a module at the front of the list, unless one of its kind and number is there.
     *
     * @param module The module; it must live until it is removed. Null is ignored.
     * @return Nothing.
     *
     * Errors: logged at qm_error: "Could not register I/O module: out of memory\n".
     * Real-time safe: no (allocates). Thread-safe: no (model start-up and termination).
     */
    QM_API static void add(IoModule* module);

    /**
     * Finds a module by kind and number.
     *
     * @param type Kind.
     * @param id   Number.
     * @return The module, or null.
     *
     * Errors: none. Real-time safe: yes. Thread-safe: yes, beside other look-ups.
     */
    QM_API static IoModule* find(ModuleTypes type, int32_t id);

    /**
     * Finds the module that was added last at a board's bus and slot.
     *
     * @param device The board; null finds none. Bus and slot 0xFFFFFFFF find a module that is not located.
     * @return The module, or null.
     *
     * Errors: none. Real-time safe: yes. Thread-safe: yes, beside other look-ups.
     */
    QM_API static IoModule* find(const _qm_PCIDevice* device);

    /**
     * Takes a module off the list; the object stays.
     *
     * @param type Kind.
     * @param id   Number.
     * @return Nothing.
     *
     * Errors: none; a module that is not on the list is ignored.
     * Real-time safe: no (frees). Thread-safe: no (model start-up and termination).
     */
    QM_API static void remove(ModuleTypes type, int32_t id);

private:
    static std::list<IoModule*> m_ioModuleList;
};

}  // namespace qm

#endif

#endif
