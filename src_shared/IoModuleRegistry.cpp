#include <qm/io_module.h>
#include <qm/log.h>

#include <algorithm>
#include <new>

namespace {

auto isModule(qm::ModuleTypes type, int32_t id)
{
    return [=](const qm::IoModule* module) { return module->getType() == type && module->getId() == id; };
}

template <typename Predicate>
qm::IoModule* firstOf(const std::list<qm::IoModule*>& modules, Predicate isWanted)
{
    const auto found = std::find_if(modules.begin(), modules.end(), isWanted);
    return found == modules.end() ? nullptr : *found;
}

}  // namespace

namespace qm {

std::list<IoModule*> IoModuleRegistry::m_ioModuleList;

void IoModuleRegistry::add(IoModule* module)
try {
    if (module == nullptr || find(module->getType(), module->getId()) != nullptr) return;
    m_ioModuleList.push_front(module);
} catch (const std::bad_alloc&) {
    qm_printf(qm_error, "Could not register I/O module: out of memory\n");
}

IoModule* IoModuleRegistry::find(ModuleTypes type, int32_t id)
{
    return firstOf(m_ioModuleList, isModule(type, id));
}

IoModule* IoModuleRegistry::find(const _qm_PCIDevice* device)
{
    if (device == nullptr) return nullptr;
    const std::pair place(static_cast<int32_t>(device->bus), static_cast<int32_t>(device->slot));
    return firstOf(m_ioModuleList, [&](const IoModule* module) { return module->getPciInfo() == place; });
}

void IoModuleRegistry::remove(ModuleTypes type, int32_t id)
{
    const auto found = std::find_if(m_ioModuleList.begin(), m_ioModuleList.end(), isModule(type, id));
    if (found != m_ioModuleList.end()) m_ioModuleList.erase(found);
}

}  // namespace qm
