#include "persistent_format.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace qmctl::persistent {

namespace {

// The directory: its length, then entries of a name and an address.
constexpr std::size_t kListBegin = 512;
constexpr std::size_t kEntrySize = 64;
constexpr std::size_t kNameSize = 50;
constexpr uint32_t kMostEntries = 1023;

// A fragment's head: its size, its address, its first byte for users and its next free byte.
constexpr std::size_t kSize = 16;
constexpr std::size_t kAddress = 24;
constexpr std::size_t kRoot = 32;
constexpr std::size_t kFree = 40;

template <typename T>
T at(const std::string& bytes, std::size_t offset)
{
    T value{};
    if (offset + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

}  // namespace

Directory directoryIn(const std::string& content)
{
    const auto length = std::min(at<uint32_t>(content, 0), kMostEntries);
    Directory directory{{}, kListBegin + length * kEntrySize, content.size() >= kListBegin};
    for (uint32_t i = 0; i < length && directory.whole; ++i) {
        const std::size_t begin = kListBegin + i * kEntrySize;
        const bool present = begin + kEntrySize <= content.size();
        const std::string name = present ? content.substr(begin, kNameSize).c_str() : "";
        directory.whole = !name.empty() && name.find('/') == std::string::npos;
        if (directory.whole) directory.names.push_back(name);
    }
    return directory;
}

Object objectIn(const std::string& content)
{
    Object object;
    for (std::size_t begin = 0; begin + kHeadSize <= content.size();) {
        const auto size = at<uint64_t>(content, begin + kSize);
        const auto address = at<uint64_t>(content, begin + kAddress);
        const auto root = at<uint64_t>(content, begin + kRoot);
        const auto free = at<uint64_t>(content, begin + kFree);
        object.fragments.push_back({begin, begin + (root - address), free - root});
        object.whole = size >= kHeadSize && size <= content.size() - begin && root >= address &&
                       free >= root && free - address <= size;
        if (!object.whole) break;
        begin += size;
    }
    return object;
}

}  // namespace qmctl::persistent
