#ifndef QMCTL_PERSISTENT_FORMAT_HPP
#define QMCTL_PERSISTENT_FORMAT_HPP

#include <string>
#include <vector>

/// How persistent memory lies in its files: a directory of names, and an object of fragments for each.
namespace qmctl::persistent {

constexpr char kDirectory[] = "/dev/shm/qm_persMem_main";
constexpr std::size_t kHeadSize = 48;  ///< of a fragment

struct Directory
{
    std::vector<std::string> names;
    std::size_t bytes = 0;  ///< up to the end of its last entry
    bool whole = true;      ///< else only what stands before the damage is here
};

Directory directoryIn(const std::string& content);

struct Fragment
{
    std::size_t begin = 0;
    std::size_t usedBegin = 0, used = 0;  ///< what users have allocated
};

struct Object
{
    std::vector<Fragment> fragments;
    bool whole = true;  ///< else the last fragment's head is damaged
};

Object objectIn(const std::string& content);

inline std::string pathOf(const std::string& name)
{
    return "/dev/shm/" + name;
}

}  // namespace qmctl::persistent

#endif
