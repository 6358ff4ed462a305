#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

namespace qm {

/// Holds the identity of the model that ran last.
constexpr char kTagFile[] = "/tmp/quillmark/model_uuid";

/// Length of an executable's path that is looked at.
constexpr std::size_t kExecutablePathSize = 200;
constexpr std::string_view kChecksumFile = "/misc/UUID";

/// Path of the model's UUID file, terminated. Needs no destructor, so that a static one still serves exit
/// handlers.
using ChecksumPath = std::array<char, kExecutablePathSize + kChecksumFile.size() + 1>;
/// A first line with its "\n" when that fits; zeros behind it.
using ChecksumLine = std::array<char, 200>;

struct CloseFile
{
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// Finds the running model's UUID file. false on success; true on failure, with the reason in pQmErrorStr and
/// the path unchanged.
bool getChecksumPath(ChecksumPath& uuidPath);

/// Reads the first line from the file's start. False when there is none, errno then tells why: 0 for an empty
/// file.
bool readChecksum(std::FILE* file, ChecksumLine& line);
/// The same of the model's UUID file, with a log line when there is none.
bool readNewChecksum(std::FILE* file, ChecksumLine& line);

/// True when both files have the same first line.
bool compareChecksums(std::FILE* pNew, std::FILE* pOld);

}  // namespace qm
