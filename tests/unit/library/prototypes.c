#include <qm/frozen.h>

/* The frozen prototypes once more: one that has changed in the header does not compile against them. */

uint32_t qm_hdlc_inpDW_v19b(uintptr_t port);
void qm_hdlc_outpDW_v19b(uintptr_t port, uint32_t val);
int32_t qm_hdlc_setAbilities_v19b(void);
qm_mod_info* qm_hdlc_module_register_v19b(uint32_t mod_type, uint32_t mod_id);
void qm_hdlc_module_unregister_v19b(uint32_t mod_type, uint32_t mod_id);
int32_t qm_hdlc_module_get_v19b(qm_mod_list* modules, uint32_t mod_type, uint32_t mod_id);
qm_mod_info* qm_hdlc_module_get_single_v24a(uint32_t mod_type, uint32_t mod_id);
qm_block_info* qm_hdlc_block_register_v24a(qm_mod_info* module, uint32_t block_type, uint32_t block_id);
void qm_hdlc_block_unregister_v24a(qm_mod_info* module, uint32_t block_type, uint32_t block_id);
qm_block_info* qm_hdlc_block_get_v24a(qm_mod_info* module, uint32_t block_type, uint32_t block_id);
bool qm_hdlc_isModelInit_v19b(void);
void qm_hdlc_initModelRun_v21b(void);
void qm_hdlc_terminateModelRun_v22a(void);
bool qm_hdlc_isFirstModelLoad_v26a(void);
void* qm_hdlc_allocPhysicalMemory_v19b(size_t size);
void* qm_hdlc_allocPhysicalMemory_v2_v22b(size_t size, uintptr_t* physicalAddress);
void qm_hdlc_freePhysicalMemory_v19b(void* ptr);
uintptr_t qm_hdlc_getPhysicalBufferAddr_v25a(void* virtualAddress);
int32_t qm_hdlc_findAxiDevice_v25a(qm_hdlc_AxiDevice_v25a* axiDevice, const char* deviceName);
void* qm_hdlc_mapAxiBar_v25a(qm_hdlc_AxiDevice_v25a* axiDevice, int32_t bar);
int32_t qm_hdlc_loadOnChipBitstream_v25a(const char* bitstreamFile);
int32_t qm_hdlc_findPciDevice_v19b(qm_PCIDevice* pPciInfo, const char* pDevNameStr, uint16_t vendorId,
                                   uint16_t deviceId, uint16_t subVendorId, uint16_t subDeviceId,
                                   int32_t ModuleId, int32_t Bus, int32_t Slot);
void qm_hdlc_showPciDevice_v19b(qm_PCIDevice* pdev);
void* qm_hdlc_mapMemory_v19b(qm_PCIDevice* device, uint32_t bar);
void qmPCI_backupPCIConfig_v22a(qm_PCIDevice* pciinfo, uint32_t* ConfigSave);
void qmPCI_restorePCIConfig_v22a(qm_PCIDevice* pciinfo, uint32_t* ConfigSave);
void qmPCI_printPCIConfig_v22a(qm_PCIDevice* pciinfo);
int32_t qm_pci_bindDriver_v26a(qm_PCIDevice* device, const char* driverName);
int32_t qm_pci_unbindDriver_v26a(qm_PCIDevice* device);
void qm_hdlc_wait_s_v19b(double delay_s);
double qm_hdlc_getElapsedTime_v19b(void);
int32_t qm_hdlc_getModelBaseDir_v21a(char* outPath, uint32_t maxLen);
int32_t qm_hdlc_spawnExecutable_v21b(const char* path, const char* executableName, const char* options);
void qm_hdlc_add_start_callback_v26a(void (*callback)(void*), void* argument, int32_t priority);
