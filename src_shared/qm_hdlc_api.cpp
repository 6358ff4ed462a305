#include <qm/dma.h>
#include <qm/frozen.h>
#include <qm/lifecycle.h>
#include <qm/model_init.h>
#include <qm/paths.h>
#include <qm/pci_access.h>
#include <qm/port_io.h>
#include <qm/soc.h>
#include <qm/time.h>

// Forwarders and nothing else: whatever a function of today does, its earlier releases do too.

static_assert(sizeof(qm_hdlc_AxiDevice_v25a) == sizeof(qm_AxiDevice) &&
              offsetof(qm_hdlc_AxiDevice_v25a, uioDevPath) == offsetof(qm_AxiDevice, uioDevPath));

uint32_t qm_hdlc_inpDW_v19b(uintptr_t port)
{
    return qm_inpDW(port);
}

void qm_hdlc_outpDW_v19b(uintptr_t port, uint32_t val)
{
    qm_outpDW(port, val);
}

int32_t qm_hdlc_setAbilities_v19b(void)
{
    return qm_setAbilities();
}

qm_mod_info* qm_hdlc_module_register_v19b(uint32_t mod_type, uint32_t mod_id)
{
    return qm_module_register(mod_type, mod_id);
}

void qm_hdlc_module_unregister_v19b(uint32_t mod_type, uint32_t mod_id)
{
    qm_module_unregister(mod_type, mod_id);
}

int32_t qm_hdlc_module_get_v19b(qm_mod_list* modules, uint32_t mod_type, uint32_t mod_id)
{
    return qm_module_get(modules, mod_type, static_cast<int32_t>(mod_id));
}

qm_mod_info* qm_hdlc_module_get_single_v24a(uint32_t mod_type, uint32_t mod_id)
{
    return qm_module_get_single(mod_type, mod_id);
}

qm_block_info* qm_hdlc_block_register_v24a(qm_mod_info* module, uint32_t block_type, uint32_t block_id)
{
    return qm_block_register(module, block_type, block_id);
}

void qm_hdlc_block_unregister_v24a(qm_mod_info* module, uint32_t block_type, uint32_t block_id)
{
    qm_block_unregister(module, block_type, block_id);
}

qm_block_info* qm_hdlc_block_get_v24a(qm_mod_info* module, uint32_t block_type, uint32_t block_id)
{
    return qm_block_get(module, block_type, block_id);
}

bool qm_hdlc_isModelInit_v19b(void)
{
    return qm_isModelInit();
}

void qm_hdlc_initModelRun_v21b(void)
{
    qm_initModelRun();
}

void qm_hdlc_terminateModelRun_v22a(void)
{
    (void)qm_tagModelRun();
}

bool qm_hdlc_isFirstModelLoad_v26a(void)
{
    return qm_isFirstModelLoad();
}

void* qm_hdlc_allocPhysicalMemory_v19b(size_t size)
{
    return qm_allocPhysicalMemory_uncached(size);
}

void* qm_hdlc_allocPhysicalMemory_v2_v22b(size_t size, uintptr_t* physicalAddress)
{
    return qm_allocPhysicalMemory_v2(size, physicalAddress);
}

void qm_hdlc_freePhysicalMemory_v19b(void* ptr)
{
    qm_freePhysicalMemory(ptr);
}

uintptr_t qm_hdlc_getPhysicalBufferAddr_v25a(void* virtualAddress)
{
    return qm_getPhysicalBufferAddr(virtualAddress);
}

int32_t qm_hdlc_findAxiDevice_v25a(qm_hdlc_AxiDevice_v25a* axiDevice, const char* deviceName)
{
    return qm_findAxiDevice(reinterpret_cast<qm_AxiDevice*>(axiDevice), deviceName);
}

void* qm_hdlc_mapAxiBar_v25a(qm_hdlc_AxiDevice_v25a* axiDevice, int32_t bar)
{
    return qm_mapAxiBar(reinterpret_cast<qm_AxiDevice*>(axiDevice), bar);
}

int32_t qm_hdlc_loadOnChipBitstream_v25a(const char* bitstreamFile)
{
    return qm_loadOnChipBitstream(bitstreamFile);
}

int32_t qm_hdlc_findPciDevice_v19b(qm_PCIDevice* pPciInfo, const char* pDevNameStr, uint16_t vendorId,
                                   uint16_t deviceId, uint16_t subVendorId, uint16_t subDeviceId,
                                   int32_t ModuleId, int32_t Bus, int32_t Slot)
{
    return qm_findPciDevice(pPciInfo, pDevNameStr, vendorId, deviceId, subVendorId, subDeviceId, ModuleId,
                            Bus, Slot);
}

void qm_hdlc_showPciDevice_v19b(qm_PCIDevice* pdev)
{
    qm_showPciDevice(pdev);
}

void* qm_hdlc_mapMemory_v19b(qm_PCIDevice* device, uint32_t bar)
{
    return qm_mapMemory(device, bar);
}

void qmPCI_backupPCIConfig_v22a(qm_PCIDevice* pciinfo, uint32_t* ConfigSave)
{
    qmPCI_backupPCIConfig(pciinfo, ConfigSave);
}

void qmPCI_restorePCIConfig_v22a(qm_PCIDevice* pciinfo, uint32_t* ConfigSave)
{
    qmPCI_restorePCIConfig(pciinfo, ConfigSave);
}

void qmPCI_printPCIConfig_v22a(qm_PCIDevice* pciinfo)
{
    qmPCI_printPCIConfig(pciinfo);
}

int32_t qm_pci_bindDriver_v26a(qm_PCIDevice* device, const char* driverName)
{
    return qm_pci_bindDriver(device, driverName);
}

int32_t qm_pci_unbindDriver_v26a(qm_PCIDevice* device)
{
    return qm_pci_unbindDriver(device);
}

void qm_hdlc_wait_s_v19b(double delay_s)
{
    qm_wait_s(delay_s);
}

double qm_hdlc_getElapsedTime_v19b(void)
{
    return qm_getElapsedTime();
}

int32_t qm_hdlc_getModelBaseDir_v21a(char* outPath, uint32_t maxLen)
{
    return qm_getModelBaseDir(outPath, maxLen);
}

int32_t qm_hdlc_spawnExecutable_v21b(const char* path, const char* executableName, const char* options)
{
    return qm_spawnExecutable(path, executableName, options);
}

void qm_hdlc_add_start_callback_v26a(void (*callback)(void*), void* argument, int32_t priority)
{
    qm_add_start_callback(callback, argument, priority);
}
