/**
 * @file
 * Module and block registry: which I/O modules (boards) and blocks a model has opened.
 *
 * The first block of a board registers the module, later ones find it and attach their own state, the last
 * one to terminate removes it. Identifiers are small integers; tables are indexed by them directly and grow
 * to exactly the largest one seen.
 */
#ifndef QM_REGISTRY_H
#define QM_REGISTRY_H

#include <qm/api.h>

QM_BEGIN_C

/** One block of a module. */
typedef struct qm_block_info
{
    uint32_t type;     /**< block type */
    uint32_t id;       /**< block identifier */
    uint64_t uid;      /**< caller's unique key; 0 when registered without one */
    void* custom_data; /**< caller's data, null at registration */
} qm_block_info;

QM_RECORD_SIZE(qm_block_info, 24);
QM_FIELD_OFFSET(qm_block_info, id, 4);
QM_FIELD_OFFSET(qm_block_info, uid, 8);
QM_FIELD_OFFSET(qm_block_info, custom_data, 16);

/** All blocks of one type of a module. */
typedef struct qm_block_list
{
    qm_block_info** blocks; /**< by block identifier, null where there is none */
    uint32_t Length;        /**< slots of blocks */
    uint32_t nBlocks;       /**< slots in use */
} qm_block_list;

QM_RECORD_SIZE(qm_block_list, 16);
QM_FIELD_OFFSET(qm_block_list, Length, 8);
QM_FIELD_OFFSET(qm_block_list, nBlocks, 12);

/** All blocks of a module. */
typedef struct qm_block_type_list
{
    qm_block_list** types; /**< by block type, null where there is none */
    uint32_t Length;       /**< slots of types */
    uint32_t nBlockTypes;  /**< slots in use */
    uint32_t nBlocks;      /**< blocks of all types */
} qm_block_type_list;

QM_RECORD_SIZE(qm_block_type_list, 24);
QM_FIELD_OFFSET(qm_block_type_list, Length, 8);
QM_FIELD_OFFSET(qm_block_type_list, nBlockTypes, 12);
QM_FIELD_OFFSET(qm_block_type_list, nBlocks, 16);

/** One I/O module. */
typedef struct qm_mod_info
{
    uint32_t type;                      /**< module type */
    uint32_t id;                        /**< module identifier */
    bool is_initiator;                  /**< set by the block that set the module up */
    int32_t pci_bus;                    /**< set by the caller */
    int32_t pci_slot;                   /**< set by the caller */
    void* custom_data;                  /**< caller's data, null at registration */
    qm_block_type_list* block_registry; /**< null while the module has no block */
} qm_mod_info;

QM_RECORD_SIZE(qm_mod_info, 40);
QM_FIELD_OFFSET(qm_mod_info, id, 4);
QM_FIELD_OFFSET(qm_mod_info, is_initiator, 8);
QM_FIELD_OFFSET(qm_mod_info, pci_bus, 12);
QM_FIELD_OFFSET(qm_mod_info, pci_slot, 16);
QM_FIELD_OFFSET(qm_mod_info, custom_data, 24);
QM_FIELD_OFFSET(qm_mod_info, block_registry, 32);

/** All modules of one type. */
typedef struct qm_module_list
{
    qm_mod_info** modules; /**< by module identifier, null where there is none */
    uint32_t Length;       /**< slots of modules */
    uint32_t nModules;     /**< slots in use */
} qm_module_list;

QM_RECORD_SIZE(qm_module_list, 16);
QM_FIELD_OFFSET(qm_module_list, Length, 8);
QM_FIELD_OFFSET(qm_module_list, nModules, 12);

/** All modules. */
typedef struct qm_module_type_list
{
    qm_module_list** types; /**< by module type, null where there is none */
    uint32_t Length;        /**< slots of types */
    uint32_t nTypes;        /**< slots in use */
    uint32_t nModules;      /**< modules of all types */
} qm_module_type_list;

QM_RECORD_SIZE(qm_module_type_list, 24);
QM_FIELD_OFFSET(qm_module_type_list, Length, 8);
QM_FIELD_OFFSET(qm_module_type_list, nTypes, 12);
QM_FIELD_OFFSET(qm_module_type_list, nModules, 16);

/** An array of modules, as qm_module_get() delivers it. */
typedef qm_mod_info** qm_mod_list;

/**
 * Registers a module.
 *
 * @param mod_type Module type.
 * @param mod_id   Module identifier.
 * @return The new module with everything but type and identifier zero, owned by the registry; null on
 * failure.
 *
 * Errors: the reason in pQmErrorStr, for instance "Module already registered\n".
 * Real-time safe: no (allocates). Thread-safe: no (one thread, and no look-up at the same time).
 */
QM_API qm_mod_info* qm_module_register(uint32_t mod_type, uint32_t mod_id);

/**
 * Removes a module and the records of its blocks; custom data stays the caller's to free, before this call.
 *
 * @param mod_type Module type.
 * @param mod_id   Module identifier.
 * @return Nothing.
 *
 * Errors: none; a module that is not registered is ignored.
 * Real-time safe: no (frees). Thread-safe: no (one thread, and no look-up at the same time).
 */
QM_API void qm_module_unregister(uint32_t mod_type, uint32_t mod_id);

/**
 * Looks a module up.
 *
 * @param mod_type Module type.
 * @param mod_id   Module identifier.
 * @return The module, owned by the registry, or null.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, beside other look-ups.
 */
QM_API qm_mod_info* qm_module_get_single(uint32_t mod_type, uint32_t mod_id);

/**
 * Collects one module or all modules of a type.
 *
 * @param modules  Receives a new array, in increasing order of identifier, which the caller frees with
 * free(). It is allocated for every identifier of 0 or more, even when the result is 0; for a negative one it
 * is left alone when there is no module of the type.
 * @param mod_type Module type.
 * @param mod_id   Module identifier; negative for all modules of the type, and then something must have been
 * registered.
 * @return Number of modules in the array.
 *
 * Errors: none. Real-time safe: no (allocates). Thread-safe: yes, beside other look-ups.
 */
QM_API int32_t qm_module_get(qm_mod_list* modules, uint32_t mod_type, int32_t mod_id);

/**
 * Gives a module's custom data.
 *
 * @param mod_type Module type.
 * @param mod_id   Module identifier.
 * @return The caller's data, or null when there is no such module.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, beside other look-ups.
 */
QM_API void* qm_module_get_custom_data(uint32_t mod_type, uint32_t mod_id);

/**
 * Allocates custom data and stores it in the module, over whatever was stored there (which is not freed).
 *
 * @param module The module, not null.
 * @param nBytes Size in bytes.
 * @return The uninitialised data, which the caller frees with free(); null when out of memory.
 *
 * Errors: none are reported otherwise. Real-time safe: no (allocates). Thread-safe: no.
 */
QM_API void* qm_module_alloc_custom_data(qm_mod_info* module, uint32_t nBytes);

/**
 * Registers a block of a module.
 *
 * @param module     The module, not null.
 * @param block_type Block type.
 * @param block_id   Block identifier.
 * @return The new block, owned by the registry; null on failure.
 *
 * Errors: the reason in pQmErrorStr, for instance "Block already registered\n".
 * Real-time safe: no (allocates). Thread-safe: no (one thread, and no look-up at the same time).
 */
QM_API qm_block_info* qm_block_register(qm_mod_info* module, uint32_t block_type, uint32_t block_id);

/**
 * Registers a block of a module under a unique key, at the lowest free identifier. Not to be mixed with
 * registration by identifier within one block type.
 *
 * @param module     The module, not null.
 * @param block_type Block type.
 * @param uid        The key.
 * @return The new block, owned by the registry; null on failure.
 *
 * Errors: the reason in pQmErrorStr.
 * Real-time safe: no (allocates). Thread-safe: no (one thread, and no look-up at the same time).
 */
QM_API qm_block_info* qm_block_register_with_uid(qm_mod_info* module, uint32_t block_type, uint64_t uid);

/**
 * Looks a block up by its identifier.
 *
 * @param module     The module, not null.
 * @param block_type Block type.
 * @param block_id   Block identifier.
 * @return The block, owned by the registry, or null.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, beside other look-ups.
 */
QM_API qm_block_info* qm_block_get(qm_mod_info* module, uint32_t block_type, uint32_t block_id);

/**
 * Looks a block up by its unique key.
 *
 * @param module     The module, not null.
 * @param block_type Block type.
 * @param uid        The key.
 * @return The block with the lowest identifier that has the key, owned by the registry, or null.
 *
 * Errors: none. Real-time safe: yes, in time proportional to the blocks of the type. Thread-safe: yes, beside
 * other look-ups.
 */
QM_API qm_block_info* qm_block_get_by_uid(qm_mod_info* module, uint32_t block_type, uint64_t uid);

/**
 * Removes a block; its custom data stays the caller's to free, before this call.
 *
 * @param module     The module, not null.
 * @param block_type Block type.
 * @param block_id   Block identifier.
 * @return Nothing.
 *
 * Errors: none; a block that is not registered is ignored.
 * Real-time safe: no (frees). Thread-safe: no (one thread, and no look-up at the same time).
 */
QM_API void qm_block_unregister(qm_mod_info* module, uint32_t block_type, uint32_t block_id);

QM_END_C

#endif
