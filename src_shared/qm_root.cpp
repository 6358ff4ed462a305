#include "qm_root.hpp"

#include "qm_common/file_descriptor.hpp"

int qm_openAsRoot(const char* path, int32_t oflag)
{
    const qm::RootScope root;
    return qm::FileDescriptor(path, oflag).release();
}
