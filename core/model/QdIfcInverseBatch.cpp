#include <QdIfcCore/QdIfcInverseBatch.h>

#include <algorithm>

namespace QD_SDAI {

QdIfcInverseBatch::~QdIfcInverseBatch() { flush(); }

void QdIfcInverseBatch::flush() {
  if (m_pending.empty()) return;
  // Grouped by set. Within a group the order does not matter (the set sorts what it
  // is given), so the sort compares addresses only and never reads an instance number.
  std::sort(m_pending.begin(), m_pending.end(),
            [](const auto& a, const auto& b) { return std::less<const void*>()(a.first, b.first); });
  QdIfcArray<QdDbObjectId> members;
  for (size_t i = 0; i < m_pending.size();) {
    QdIfcSetAggr<QdDbObjectId>* set = m_pending[i].first;
    size_t end = i;
    while (end < m_pending.size() && m_pending[end].first == set) ++end;
    members.setLogicalLength(0);
    set->exportTo(members);
    for (size_t k = i; k < end; ++k) members.append(m_pending[k].second);
    set->assign(members);  // sorts and drops repeats
    i = end;
  }
  m_pending.clear();
}

}  // namespace QD_SDAI
