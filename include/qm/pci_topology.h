/**
 * @file
 * The PCI topology: which device sits behind which bridge. libpci ends the process by its own error handler
 * when it finds no way to the PCI buses.
 */
#ifndef QM_PCI_TOPOLOGY_H
#define QM_PCI_TOPOLOGY_H

#include <qm/api.h>

QM_BEGIN_C

/** Header type of a topology node: a device. */
#define QM_TOPO_DEVICE 0U
/** Header type of a topology node: a bridge to another PCI bus. */
#define QM_TOPO_PCI_BRIDGE 1U
/** Header type of a topology node: a bridge to CardBus. */
#define QM_TOPO_CARDBUS_BRIDGE 2U

/** One PCI function. */
typedef struct _qm_topo_node
{
    uint32_t bus;                 /**< bus number */
    uint32_t slot;                /**< device number, 0..31 */
    uint32_t func;                /**< function number, 0..7 */
    uint32_t VID;                 /**< vendor identifier */
    uint32_t DID;                 /**< device identifier */
    uint32_t SubVID;              /**< subsystem vendor identifier */
    uint32_t SubDID;              /**< subsystem identifier */
    uint32_t classcode;           /**< base class, subclass and programming interface, 24 bits */
    char* interfaceType;          /**< "PCI", or "PCIe" with capability version and maximum link width */
    bool MF;                      /**< multi-function device */
    uint32_t headerType;          /**< 0 device, 1 PCI-to-PCI bridge, 2 CardBus bridge */
    uintptr_t customData;         /**< of a PCI-to-PCI bridge: address of its _qm_topo_bridge; else 0 */
    struct _qm_topo_node* parent; /**< bridge in front of this node's bus; null at the top */
} qm_topo_node;

QM_RECORD_SIZE(qm_topo_node, 64);
QM_FIELD_OFFSET(qm_topo_node, slot, 4);
QM_FIELD_OFFSET(qm_topo_node, func, 8);
QM_FIELD_OFFSET(qm_topo_node, VID, 12);
QM_FIELD_OFFSET(qm_topo_node, DID, 16);
QM_FIELD_OFFSET(qm_topo_node, SubVID, 20);
QM_FIELD_OFFSET(qm_topo_node, SubDID, 24);
QM_FIELD_OFFSET(qm_topo_node, classcode, 28);
QM_FIELD_OFFSET(qm_topo_node, interfaceType, 32);
QM_FIELD_OFFSET(qm_topo_node, MF, 40);
QM_FIELD_OFFSET(qm_topo_node, headerType, 44);
QM_FIELD_OFFSET(qm_topo_node, customData, 48);
QM_FIELD_OFFSET(qm_topo_node, parent, 56);

/** What hangs behind a PCI-to-PCI bridge. */
typedef struct _qm_topo_bridge
{
    uint32_t prim;          /**< primary bus number */
    uint32_t sec;           /**< secondary bus number */
    uint32_t sub;           /**< subordinate bus number */
    uint32_t nChildren;     /**< nodes on the secondary bus */
    qm_topo_node* children; /**< array of those nodes, null without any */
} qm_topo_bridge;

QM_RECORD_SIZE(qm_topo_bridge, 24);
QM_FIELD_OFFSET(qm_topo_bridge, sec, 4);
QM_FIELD_OFFSET(qm_topo_bridge, sub, 8);
QM_FIELD_OFFSET(qm_topo_bridge, nChildren, 12);
QM_FIELD_OFFSET(qm_topo_bridge, children, 16);

/**
 * Reads the topology below bus 0.
 *
 * @param rootComplex Receives the array of the bus's nodes, null without any. The caller owns the tree and
 * releases each array, interfaceType and bridge record with free().
 * @return Number of nodes in the array.
 *
 * Errors: none are reported; without root rights every interface type is "PCI".
 * Real-time safe: no (probes every slot of every bus). Thread-safe: no (not beside another search or scan).
 */
QM_API int qm_getPciTopology(qm_topo_node** rootComplex);

/**
 * Reads the topology below a bus.
 *
 * @param rootComplex As for qm_getPciTopology().
 * @param bus         The bus, 0..255.
 * @return Number of nodes in the array.
 *
 * Errors, real-time safety, thread-safety: as qm_getPciTopology().
 */
QM_API int qm_getPciTopologyAtBus(qm_topo_node** rootComplex, uint32_t bus);

/**
 * Prints a topology to standard output, one node a line with decimal bus, slot and function, behind each
 * bridge what hangs below it, one tab deeper.
 *
 * @param branch    Array of nodes.
 * @param nElements Number of nodes.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: no (prints). Thread-safe: yes.
 */
QM_API void qm_printPciTopology(qm_topo_node* branch, uint32_t nElements);

QM_END_C

#endif
