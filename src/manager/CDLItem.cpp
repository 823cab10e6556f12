#include "manager/CDLItem.h"

namespace tsasync {

void CDLItem::SetState(TSDLStateEnum value) {
    m_State = value;
    if (m_pRegistry != nullptr) m_pRegistry->ScheduleChanged(*this);
}

void CDLItem::SetStart(double value) {
    m_dtStart = value;
    if (m_pRegistry != nullptr) m_pRegistry->ScheduleChanged(*this);
}

void CDLItem::SetSize(std::int32_t value) {
    m_lSize = value;
    if (value > m_lTotalSize) m_lTotalSize = value;
}

}  // namespace tsasync
