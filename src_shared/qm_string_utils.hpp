#pragma once

#include <qm/api.h>

#include <string>

namespace qm::utils {

/// printf-style formatting into a new string of exactly the text's length. Throws std::logic_error when the
/// text cannot be formatted (a wide character that the locale does not know).
std::string formatString(const char* format, ...) QM_PRINTF(1, 2);

}  // namespace qm::utils
