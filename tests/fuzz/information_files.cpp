// The texts of an installation and of a model: version, marketing name, and the UUIDs of two models.

#include "input.hpp"
#include "leftovers.hpp"
#include "qm_isModelInit/checksum.hpp"

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static const std::string folder =
        (qm::test::sandbox::freshDirectory("/usr/quillmark"), "/usr/quillmark/sysinfo/");
    const qm::fuzz::Log log;
    const qm::fuzz::Leftovers leftovers;
    auto [version, name, uuid, tag] = qm::fuzz::texts<4>(data, size);
    qm::test::sandbox::writeFile(folder + "quillmark_version.txt", version);
    qm::test::sandbox::writeFile(folder + "quillmark_marketingName.txt", name);

    std::vector<char> line(100);
    const int status = qm_getLibVersion(line.data());
    qm::fuzz::require((status == 0) != version.empty() && line.back() == '\0');
    qm::fuzz::require(qm_getTargetScreenLine1().find('\n') == std::string::npos);
    qm::fuzz::require(qm_getTargetScreenLine2().find('\n') == std::string::npos);

    const qm::File ours(fmemopen(uuid.data(), uuid.size(), "r"));
    const qm::File last(fmemopen(tag.data(), tag.size(), "r"));
    qm::fuzz::require(!qm::compareChecksums(ours.get(), last.get()) || *uuid.c_str() == *tag.c_str());
    return 0;
}
