#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace test {

/** A folder of its own that goes away with all in it. */
class Folder
{
public:
    Folder() { path_ = ::mkdtemp(name_.data()); }
    ~Folder() { std::filesystem::remove_all(path_); }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::string name_ = "/tmp/platform-test-XXXXXX";
    std::filesystem::path path_;
};

inline std::string contents(const std::filesystem::path& file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline auto entries(const std::filesystem::path& folder)
{
    const std::filesystem::directory_iterator all(folder);
    return std::distance(begin(all), end(all));
}

}  // namespace test
