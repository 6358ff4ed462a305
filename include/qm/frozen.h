/**
 * @file
 * The interface of earlier releases, for generated code that was built with them. An entry's name ends in the
 * release that fixed it; it is never changed. Each does exactly what the function of today does that it
 * names: the same result, texts, log lines and errno. New code calls that function. Together with the records
 * and with pQmErrorStr, which have stayed as they were, this is all that such code needs.
 */
#ifndef QM_FROZEN_H
#define QM_FROZEN_H

#include <qm/api.h>
#include <qm/error.h>
#include <qm/pci.h>
#include <qm/registry.h>

QM_BEGIN_C

/** An AXI device, laid out as qm_AxiDevice. Owned by the caller. */
typedef struct qm_hdlc_AxiDevice_v25a
{
    int uioIndex;         /**< N of the UIO device */
    char uioDevPath[256]; /**< its node, "/dev/uioN" */
} qm_hdlc_AxiDevice_v25a;

QM_RECORD_SIZE(qm_hdlc_AxiDevice_v25a, 260);
QM_FIELD_OFFSET(qm_hdlc_AxiDevice_v25a, uioDevPath, 4);

/**
 * As qm_inpDW().
 *
 * @param port The port.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API uint32_t qm_hdlc_inpDW_v19b(uintptr_t port);

/**
 * As qm_outpDW().
 *
 * @param port The port.
 * @param val What to write.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qm_hdlc_outpDW_v19b(uintptr_t port, uint32_t val);

/**
 * As qm_setAbilities().
 *
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API int32_t qm_hdlc_setAbilities_v19b(void);

/**
 * As qm_module_register().
 *
 * @param mod_type Module type.
 * @param mod_id Module identifier.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API qm_mod_info* qm_hdlc_module_register_v19b(uint32_t mod_type, uint32_t mod_id);

/**
 * As qm_module_unregister().
 *
 * @param mod_type Module type.
 * @param mod_id Module identifier.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qm_hdlc_module_unregister_v19b(uint32_t mod_type, uint32_t mod_id);

/**
 * As qm_module_get().
 *
 * @param modules Receives the array.
 * @param mod_type Module type.
 * @param mod_id Module identifier; 2147483648 and above, 4294967295 for instance: all modules of the type.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API int32_t qm_hdlc_module_get_v19b(qm_mod_list* modules, uint32_t mod_type, uint32_t mod_id);

/**
 * As qm_module_get_single().
 *
 * @param mod_type Module type.
 * @param mod_id Module identifier.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API qm_mod_info* qm_hdlc_module_get_single_v24a(uint32_t mod_type, uint32_t mod_id);

/**
 * As qm_block_register().
 *
 * @param module The module.
 * @param block_type Block type.
 * @param block_id Block identifier.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API qm_block_info* qm_hdlc_block_register_v24a(qm_mod_info* module, uint32_t block_type,
                                                  uint32_t block_id);

/**
 * As qm_block_unregister().
 *
 * @param module The module.
 * @param block_type Block type.
 * @param block_id Block identifier.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qm_hdlc_block_unregister_v24a(qm_mod_info* module, uint32_t block_type, uint32_t block_id);

/**
 * As qm_block_get().
 *
 * @param module The module.
 * @param block_type Block type.
 * @param block_id Block identifier.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API qm_block_info* qm_hdlc_block_get_v24a(qm_mod_info* module, uint32_t block_type, uint32_t block_id);

/**
 * As qm_isModelInit().
 *
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API bool qm_hdlc_isModelInit_v19b(void);

/**
 * As qm_initModelRun().
 *
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qm_hdlc_initModelRun_v21b(void);

/**
 * As qm_tagModelRun(), its result discarded.
 *
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qm_hdlc_terminateModelRun_v22a(void);

/**
 * As qm_isFirstModelLoad().
 *
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API bool qm_hdlc_isFirstModelLoad_v26a(void);

/**
 * As qm_allocPhysicalMemory_uncached().
 *
 * @param size Size in bytes.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void* qm_hdlc_allocPhysicalMemory_v19b(size_t size);

/**
 * As qm_allocPhysicalMemory_v2().
 *
 * @param size Size in bytes.
 * @param physicalAddress Receives the bus address.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void* qm_hdlc_allocPhysicalMemory_v2_v22b(size_t size, uintptr_t* physicalAddress);

/**
 * As qm_freePhysicalMemory().
 *
 * @param ptr The buffer.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qm_hdlc_freePhysicalMemory_v19b(void* ptr);

/**
 * As qm_getPhysicalBufferAddr().
 *
 * @param virtualAddress The byte.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API uintptr_t qm_hdlc_getPhysicalBufferAddr_v25a(void* virtualAddress);

/**
 * As qm_findAxiDevice().
 *
 * @param axiDevice The device.
 * @param deviceName Its UIO device's name.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API int32_t qm_hdlc_findAxiDevice_v25a(qm_hdlc_AxiDevice_v25a* axiDevice, const char* deviceName);

/**
 * As qm_mapAxiBar().
 *
 * @param axiDevice The device.
 * @param bar Number of the region.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void* qm_hdlc_mapAxiBar_v25a(qm_hdlc_AxiDevice_v25a* axiDevice, int32_t bar);

/**
 * As qm_loadOnChipBitstream().
 *
 * @param bitstreamFile Path of the bitstream.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API int32_t qm_hdlc_loadOnChipBitstream_v25a(const char* bitstreamFile);

/**
 * As qm_findPciDevice().
 *
 * @param pPciInfo The record to fill.
 * @param pDevNameStr The board's name for messages.
 * @param vendorId Vendor identifier.
 * @param deviceId Device identifier.
 * @param subVendorId Subsystem vendor identifier or QM_PCI_ANY_ID.
 * @param subDeviceId Subsystem identifier or QM_PCI_ANY_ID.
 * @param ModuleId Position from 1.
 * @param Bus Bus.
 * @param Slot Slot, or negative for autosearch.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API int32_t qm_hdlc_findPciDevice_v19b(qm_PCIDevice* pPciInfo, const char* pDevNameStr, uint16_t vendorId,
                                          uint16_t deviceId, uint16_t subVendorId, uint16_t subDeviceId,
                                          int32_t ModuleId, int32_t Bus, int32_t Slot);

/**
 * As qm_showPciDevice().
 *
 * @param pdev The board.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qm_hdlc_showPciDevice_v19b(qm_PCIDevice* pdev);

/**
 * As qm_mapMemory().
 *
 * @param device The board.
 * @param bar BAR number.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void* qm_hdlc_mapMemory_v19b(qm_PCIDevice* device, uint32_t bar);

/**
 * As qmPCI_backupPCIConfig().
 *
 * @param pciinfo The board.
 * @param ConfigSave 8 words.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qmPCI_backupPCIConfig_v22a(qm_PCIDevice* pciinfo, uint32_t* ConfigSave);

/**
 * As qmPCI_restorePCIConfig().
 *
 * @param pciinfo The board.
 * @param ConfigSave 8 words; they are not modified.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qmPCI_restorePCIConfig_v22a(qm_PCIDevice* pciinfo, uint32_t* ConfigSave);

/**
 * As qmPCI_printPCIConfig().
 *
 * @param pciinfo The board.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qmPCI_printPCIConfig_v22a(qm_PCIDevice* pciinfo);

/**
 * As qm_pci_bindDriver().
 *
 * @param device The board.
 * @param driverName Name of the driver.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API int32_t qm_pci_bindDriver_v26a(qm_PCIDevice* device, const char* driverName);

/**
 * As qm_pci_unbindDriver().
 *
 * @param device The board.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API int32_t qm_pci_unbindDriver_v26a(qm_PCIDevice* device);

/**
 * As qm_wait_s().
 *
 * @param delay_s Seconds.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qm_hdlc_wait_s_v19b(double delay_s);

/**
 * As qm_getElapsedTime().
 *
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API double qm_hdlc_getElapsedTime_v19b(void);

/**
 * As qm_getModelBaseDir().
 *
 * @param outPath Output.
 * @param maxLen Size of the output in bytes.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API int32_t qm_hdlc_getModelBaseDir_v21a(char* outPath, uint32_t maxLen);

/**
 * As qm_spawnExecutable().
 *
 * @param path The program's directory.
 * @param executableName The program's file name.
 * @param options Its arguments, separated by blanks.
 * @return As there.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API int32_t qm_hdlc_spawnExecutable_v21b(const char* path, const char* executableName,
                                            const char* options);

/**
 * As qm_add_start_callback().
 *
 * @param callback The function.
 * @param argument Passed to it.
 * @param priority Passed to the platform.
 * @return Nothing.
 *
 * Errors, real-time safety, thread-safety: as there.
 */
QM_API void qm_hdlc_add_start_callback_v26a(void (*callback)(void*), void* argument, int32_t priority);

QM_END_C

#endif
