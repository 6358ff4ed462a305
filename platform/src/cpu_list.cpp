#include "cpu_list.hpp"

#include <charconv>

namespace slrealtime {

namespace {

constexpr int kMostCpus = 4096;  // a damaged list must not fill the memory

bool takeNumber(std::string_view& text, int& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number < 0 || number >= kMostCpus) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

bool take(std::string_view& text, char expected)
{
    if (text.empty() || text.front() != expected) return false;
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::vector<int> parseCpuList(std::string_view text)
{
    std::vector<int> cpus;
    do {
        int first = 0;
        if (!takeNumber(text, first)) break;
        int last = first;
        if (take(text, '-') && !takeNumber(text, last)) break;
        for (int cpu = first; cpu <= last; ++cpu)
            cpus.push_back(cpu);
    } while (take(text, ','));
    return cpus;
}

}  // namespace slrealtime
