#include "qm_common/information_files.hpp"
#include <qm/paths.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t kVersionSize = 100;

}  // namespace

int32_t qm_getLibVersion(char* outLibVer)
{
    std::FILE* const file = std::fopen(qm::kVersionFile, "re");
    if (file == nullptr) {
        std::puts("ERROR: Could not open Quillmark library information file");
        return -1;
    }
    std::array<char, kVersionSize> line{};
    if (std::fgets(line.data(), line.size(), file) == nullptr) {
        std::puts("ERROR: Empty Quillmark library information file");
        return -1;  // Deliberate: the file stays open on this path.
    }
    std::fclose(file);
    std::memcpy(outLibVer, line.data(), line.size());
    return 0;
}
