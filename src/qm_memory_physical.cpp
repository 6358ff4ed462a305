#include "qm_common/file_descriptor.hpp"
#include "qm_root.hpp"
#include <qm/dma.h>
#include <qm/log.h>

#include <map>
#include <new>

namespace {

constexpr std::size_t kSinglePage = 4096;
constexpr std::size_t kTwoPages = 8192;
constexpr char kPageMap[] = "/proc/self/pagemap";
constexpr uint64_t kFrameNumbers = uint64_t{1} << 55;
constexpr int kFrameShift = 12;

/// This process's buffers by their addresses.
std::map<void*, qm_udmabuf_Handle*> g_physicalMemoryMap;

void* refuseOnLinux(const char* function)
{
    qm_printf(qm_info,
              "%s is not, and will not, be defined in libqm for Linux. Use qm_allocPhysicalMemory_v2() "
              "instead.\n",
              function);
    return nullptr;
}

/// False when there is no memory to remember the buffer with; the buffer is freed then.
bool remember(qm_udmabuf_Handle* buffer)
try {
    g_physicalMemoryMap.emplace(buffer->userPtr, buffer);
    return true;
} catch (const std::bad_alloc&) {
    (void)qm_udmabuf_freeBuffer(buffer);
    return false;
}

}  // namespace

void* qm_allocPhysicalMemory_v2(size_t size, uintptr_t* physicalOut)
{
    return qm_allocPhysicalMemory_v2_uncached(size, physicalOut);
}

void* qm_allocPhysicalMemory_v2_uncached(size_t size, uintptr_t* physicalOut)
{
    *physicalOut = 0;
    qm_printf(qm_debug, "Allocating 0x%x bytes of physical memory\n", static_cast<uint32_t>(size));
    if (size <= kSinglePage) {
        size = kTwoPages;
        qm_printf(qm_debug, " --> Single pages don't go into CMA. Allocating 0x%x\n",
                  static_cast<uint32_t>(size));
    }
    // Deliberate: clears what an unclean run has left, and any other process's buffers with it.
    if (g_physicalMemoryMap.empty() && qm_udmabuf_deleteAllBuffers() != 0) {
        qm_printf(qm_info,
                  "Failed to clear old u-dma-buffers. Do you have the required kernel modules inserted?\n");
        return nullptr;
    }
    qm_udmabuf_Handle* const buffer = qm_udmabuf_allocBuffer(size);
    if (buffer == nullptr || !remember(buffer)) {
        qm_printf(qm_info, "Could not create buffer.\n");
        return nullptr;
    }
    *physicalOut = buffer->physicalAddr;
    return buffer->userPtr;
}

void* qm_allocPhysicalMemory_v2_cached(size_t /*size*/, uintptr_t* /*physicalOut*/)
{
    qm_printf(qm_error, "%s is not defined in libqm on x86. Use qm_allocPhysicalMemory_v2() instead.\n",
              __func__);
    return nullptr;
}

void* qm_allocPhysicalMemory_cached(size_t /*size*/)
{
    return refuseOnLinux(__func__);
}

void* qm_allocPhysicalMemory_uncached(size_t /*size*/)
{
    return refuseOnLinux(__func__);
}

void qm_freePhysicalMemory(void* ptr)
{
    if (ptr == nullptr) return;
    const auto found = g_physicalMemoryMap.find(ptr);
    if (found == g_physicalMemoryMap.end()) {
        qm_printf(qm_info, "No buffer matching address %p was found to free\n", ptr);
        return;
    }
    if (qm_udmabuf_freeBuffer(found->second) != 0) qm_printf(qm_info, "Could not free buffer %p.\n", ptr);
    // Deliberate: a buffer that could not be freed is forgotten too, its handle lost.
    g_physicalMemoryMap.erase(found);
}

uintptr_t qm_getPhysicalBufferAddr(void* virtualAddress)
{
    const qm::RootScope root;
    const qm::FileDescriptor pageMap(kPageMap, O_RDONLY);
    if (!pageMap) return 0;
    const auto address = reinterpret_cast<uintptr_t>(virtualAddress);
    const auto pageSize = static_cast<uintptr_t>(::getpagesize());
    uint64_t entry = 0;
    const auto position = static_cast<off_t>(address / pageSize * sizeof entry);
    if (::lseek(pageMap.get(), position, SEEK_SET) != position) return 0;
    if (::read(pageMap.get(), &entry, sizeof entry) != static_cast<ssize_t>(sizeof entry)) return 0;
    // Deliberate: a fixed shift beside the run-time page size, and no look at whether the page is present.
    return (entry % kFrameNumbers << kFrameShift) + address % pageSize;
}
