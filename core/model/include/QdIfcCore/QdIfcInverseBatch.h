// QdIfcInverseBatch: inverse attributes filled in bulk.
//
// Linking a model hands every relationship's own handle to the inverse sets of the
// objects it names. Added one by one, a set kept sorted moves its tail on every
// insertion, which is quadratic when many objects name one target in no particular
// order. A batch records the additions instead; flush() sorts them once and gives each
// set its new members in one assignment, so a whole model links in O(n log n).
//
// A model links into the batch it is given: QdIfcModel::setInverseCounterParts(batch)
// makes it the model's inverseBatch() while its instances link, and the entity classes
// find it there, through the model of the instance that links. Linking an instance of
// a model that has no batch adds to the sets at once.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdIfcAggrTemplates.h>

#include <utility>
#include <vector>

namespace QD_SDAI {

class QDIFCCORE_API QdIfcInverseBatch {
 public:
  QdIfcInverseBatch() noexcept = default;
  // Flushes what is left.
  ~QdIfcInverseBatch();
  QdIfcInverseBatch(const QdIfcInverseBatch&) = delete;
  QdIfcInverseBatch& operator=(const QdIfcInverseBatch&) = delete;

  // Records that self joins the set. The set must outlive the next flush.
  void defer(QdIfcSetAggr<QdDbObjectId>& inverse, const QdDbObjectId& self) { m_pending.emplace_back(&inverse, self); }
  // Gives every recorded set its new members: a nil set becomes a set, members it
  // has already are not added twice.
  void flush();
  // Additions recorded and not yet flushed.
  size_t pending() const noexcept { return m_pending.size(); }

 private:
  std::vector<std::pair<QdIfcSetAggr<QdDbObjectId>*, QdDbObjectId>> m_pending;
};

}  // namespace QD_SDAI
