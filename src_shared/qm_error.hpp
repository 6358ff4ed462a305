#pragma once

#include <qm/error.h>

namespace qm {

/// Writes the reason of a failure into pQmErrorStr, cut to its size.
void setErrorText(const char* format, ...) QM_PRINTF(1, 2);

}  // namespace qm
