#include "qm_string_utils.hpp"

#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace qm::utils {

std::string formatString(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    // Callers know this text; it is not the one that the C++ library has today.
    if (length < 0) throw std::logic_error("basic_string::_M_construct null not valid");

    std::string text(static_cast<std::size_t>(length), '\0');
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    va_end(arguments);
    return text;
}

}  // namespace qm::utils
