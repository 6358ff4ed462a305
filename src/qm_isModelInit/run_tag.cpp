#include "qm_isModelInit/checksum.hpp"
#include <qm/error.h>
#include <qm/log.h>
#include <qm/model_init.h>
#include <qm/paths.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr char kTagDirectory[] = "/tmp/quillmark";
// Deliberate: without a line break, with which it would appear.
constexpr char kTagFailed[] = "Failed to tag model run";

/// Logs the failure of a call and gives the result that stands for it.
bool fail(const char* format)
{
    qm_printf(qm_info, format, std::strerror(errno));
    return true;
}

bool writeLine(std::FILE* file, const qm::ChecksumLine& line)
{
    // Flushed, so that a full file system is noticed here.
    return std::fwrite(line.data(), 1, std::strlen(line.data()), file) > 0 && std::fflush(file) == 0;
}

enum class Tagging
{
    kDone,
    kGivenUp,  // nothing to report to the caller
    kFailed,
};

/// Replaces the line of the tag file, a stream that is closed when it cannot be opened again.
Tagging replaceChecksum(std::FILE* uuid, std::FILE* tag)
{
    if (std::freopen(qm::kTagFile, "we", tag) == nullptr) {
        fail("Tag model run: Failed to open checksum file for writing: %s\n");
        return Tagging::kFailed;
    }
    qm::ChecksumLine line;
    if (!qm::readNewChecksum(uuid, line)) return Tagging::kGivenUp;
    if (writeLine(tag, line)) return Tagging::kDone;
    fail("Tag model run: Failed to write checksum file: %s\n");
    return Tagging::kFailed;
}

Tagging bringUpToDate(std::FILE* uuid, std::FILE* tag)
{
    qm_printf(qm_debug, "Tag model run: Found existing checksum file\n");
    if (qm::compareChecksums(uuid, tag)) {
        qm_printf(qm_debug, "Tag model run: Existing checksum file matches\n");
        return Tagging::kDone;
    }
    qm_printf(qm_debug, "Tag model run: Checksum mismatch. Replacing checksum\n");
    return replaceChecksum(uuid, tag);
}

}  // namespace

bool qm_tagModelRun(void)
{
    static qm::ChecksumPath uuidPath{};
    if (uuidPath.front() != '\0') {
        qm_printf(qm_debug, "Tag model run: Model already tagged\n");
        return false;
    }
    (void)qm_fs_ensureDirExists(kTagDirectory);  // the open that follows notices a failure
    std::FILE* const tag = std::fopen(qm::kTagFile, "a+e");
    if (tag == nullptr) return fail("Tag model run: Failed to open/create checksum file: %s\n");
    if (::ftrylockfile(tag) != 0) {
        qm_printf(qm_debug, "Tag model run: Checksum file in use\n");
        (void)std::fclose(tag);
        return false;
    }
    // Deliberate: what is open stays open, and the stream locked, where tagging ends early from here on.
    if (qm::getChecksumPath(uuidPath)) {
        qm_printf(qm_info, "Tag model run: Failed to find checksum path: %s\n", pQmErrorStr);
        return true;
    }
    std::FILE* const uuid = std::fopen(uuidPath.data(), "re");
    if (uuid == nullptr) {
        fail("Tag model run: Failed to open checksum file: %s\n");
    } else {
        const Tagging tagging = bringUpToDate(uuid, tag);
        if (tagging != Tagging::kDone) return tagging == Tagging::kFailed;
        (void)std::fclose(uuid);
    }
    ::funlockfile(tag);
    (void)std::fclose(tag);
    return uuid == nullptr;
}

void qm_tagModelAtExit(void)
{
    if (qm_tagModelRun()) qm_printf(qm_warning, kTagFailed);
}
