#pragma once

#include "test.hpp"

namespace qm::fuzz {

/** The input as `N` texts, cut at "|", so that a corpus can be read and written; missing ones are empty. */
template <std::size_t N>
std::array<std::string, N> texts(const uint8_t* data, std::size_t size)
{
    std::array<std::string, N> parts;
    std::size_t part = 0;
    for (std::size_t i = 0; i < size; ++i)
        if (data[i] == '|' && part + 1 < N)
            ++part;
        else
            parts[part] += static_cast<char>(data[i]);
    return parts;
}

/** What must hold for every input; libFuzzer keeps one for which it does not. */
inline void require(bool holds)
{
    if (!holds) std::abort();
}

/** Has the library write its log lines, to nowhere. */
class Log
{
public:
    Log() { (void)capture(); }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;
    ~Log() { capture().clear(); }

private:
    static test::LogCapture& capture()
    {
        static auto* const kept = new test::LogCapture;  // as long as the process
        return *kept;
    }
};

}  // namespace qm::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);
