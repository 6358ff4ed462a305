#include <qm/io_module.h>

namespace qm {

/// Code that was generated and compiled elsewhere has the accessors inline.
struct IoModuleLayout
{
    QM_RECORD_SIZE(IoModule, 20);
    QM_FIELD_OFFSET(IoModule, m_type, 0);
    QM_FIELD_OFFSET(IoModule, m_id, 4);
    QM_FIELD_OFFSET(IoModule, m_pciAutosearchPos, 8);
    QM_FIELD_OFFSET(IoModule, m_pciInfo, 12);
};

}  // namespace qm
