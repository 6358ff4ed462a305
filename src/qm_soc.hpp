#pragma once

#include <qm/target.h>

namespace qm {

/// Loads a bitstream on a target of this type, see qm_loadOnChipBitstream().
int loadBitstream(const char* bitstreamFile, qm_TargetType target);

}  // namespace qm
