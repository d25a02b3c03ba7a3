#include <QdIfcCore/QdIfcModel.h>

#include <QdIfcCore/QdIfcInverseBatch.h>

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcEntityBase.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <unordered_map>

namespace QD_SDAI {

struct QdIfcModel::ConcurrentFill {
  std::mutex lock;
  std::unordered_map<uint64_t, detail::ObjectSlot*> made;  // slots made meanwhile, not yet in the id table
};

QdIfcModel::QdIfcModel(const QdIfcSchema* schema) : m_schema(schema), m_arena(std::make_unique<QdIfcArena>()) {}

QdIfcModel::~QdIfcModel() { clear(); }

void QdIfcModel::PageFree::operator()(detail::SlotPageHead* page) const noexcept {
  ::operator delete (page, std::align_val_t{detail::kSlotPageBytes});
}

// Slot number n of the pages, the page made when n is its first.
detail::ObjectSlot* QdIfcModel::slotAt(size_t n) {
  const size_t page = n / kPageSize, at = n % kPageSize;
  if (page == m_pages.size()) {
    m_pages.reserve(m_pages.size() + 1);
    void* memory = ::operator new (detail::kSlotPageBytes, std::align_val_t{detail::kSlotPageBytes});
    m_pages.emplace_back(new (memory) detail::SlotPageHead{this, 0});
  }
  return reinterpret_cast<detail::ObjectSlot*>(m_pages[page].get() + 1) + at;
}

detail::ObjectSlot* QdIfcModel::newSlot(uint64_t id) {
  detail::ObjectSlot* s = slotAt(m_slotsUsed);
  *s = detail::ObjectSlot{nullptr, id};
  ++m_slotsUsed;
  index(id, s);
  if (id > m_maxId) m_maxId = id;
  return s;
}

detail::ObjectSlot* QdIfcModel::lookup(uint64_t id) const noexcept {
  if (id < m_dense.size()) return m_dense[id];
  if (m_sparse.empty()) return nullptr;
  auto it = m_sparse.find(id);
  return it == m_sparse.end() ? nullptr : it->second;
}

void QdIfcModel::index(uint64_t id, detail::ObjectSlot* slot) {
  if (id >= m_dense.size()) {
    // Grow the dense table while the numbers stay within a small factor of the
    // number of slots; far outliers go to the sorted overflow instead. The bound
    // follows the slots alone, so that the table stays in proportion to them
    // whatever order the numbers come in.
    uint64_t limit = 4 * static_cast<uint64_t>(m_slotsUsed) + 65536;
    if (id >= limit) {
      m_sparse.emplace(id, slot);
      return;
    }
    size_t newSize = std::max<size_t>(static_cast<size_t>(id) + 1, m_dense.size() + m_dense.size() / 2);
    m_dense.resize(newSize, nullptr);
    // Overflow entries that now fall inside the table move into it.
    for (auto it = m_sparse.begin(); it != m_sparse.end() && it->first < newSize;) {
      m_dense[it->first] = it->second;
      it = m_sparse.erase(it);
    }
  }
  m_dense[id] = slot;
}

void QdIfcModel::attach(detail::ObjectSlot* slot, QdIfcEntityBase* object) {
  slot->object = object;
  object->m_objectId = QdDbObjectId(slot);
  ++m_live;
}

void QdIfcModel::reserve(size_t instances, uint64_t maxId) {
  m_pages.reserve((m_slotsUsed + instances) / kPageSize + 1);
  // Within the bound the table keeps to (see index()), once those slots are there.
  if (maxId >= m_dense.size() && maxId < 4 * static_cast<uint64_t>(m_slotsUsed + instances) + 65536) {
    m_dense.reserve(static_cast<size_t>(maxId) + 1);
    m_dense.resize(static_cast<size_t>(maxId) + 1, nullptr);
    for (auto it = m_sparse.begin(); it != m_sparse.end() && it->first <= maxId;) {
      m_dense[it->first] = it->second;
      it = m_sparse.erase(it);
    }
  }
}

QdDbObjectId QdIfcModel::addInstance(QdIfcEntityBase* object) { return addInstance(object, m_maxId + 1); }

QdDbObjectId QdIfcModel::addInstance(QdIfcEntityBase* object, uint64_t id) {
  if (!object || id == 0 || !object->m_objectId.isNull()) return {};
  detail::ObjectSlot* s = lookup(id);
  if (s && s->object) return {};
  if (!s) s = newSlot(id);
  attach(s, object);
  return QdDbObjectId(s);
}

QdDbObjectId QdIfcModel::createInstance(const char* typeName, uint64_t id) {
  if (!m_schema || !typeName) return {};
  const QdIfcEntityType* type = m_schema->findEntityType(typeName);
  if (!type) return {};
  if (id == 0) id = m_maxId + 1;
  detail::ObjectSlot* s = lookup(id);
  if (s && s->object) return {};
  QdIfcEntityBase* object = nullptr;
  {
    QdIfcArena::Scope scope(m_arena.get());
    object = type->createInstance();
  }
  if (!object) return {};
  if (!s) s = newSlot(id);
  attach(s, object);
  return QdDbObjectId(s);
}

QdDbObjectId QdIfcModel::handleFor(uint64_t id) {
  if (id == 0) return {};
  detail::ObjectSlot* s = lookup(id);
  if (s) return QdDbObjectId(s);
  return QdDbObjectId(m_concurrent ? sharedSlot(id) : newSlot(id));
}

// The id table does not change while threads read it: a slot made now waits beside it.
detail::ObjectSlot* QdIfcModel::sharedSlot(uint64_t id) {
  std::lock_guard<std::mutex> hold(m_concurrent->lock);
  auto [at, fresh] = m_concurrent->made.try_emplace(id, nullptr);
  if (!fresh) return at->second;
  detail::ObjectSlot* s = slotAt(m_slotsUsed);
  *s = detail::ObjectSlot{nullptr, id};
  ++m_slotsUsed;
  if (id > m_maxId) m_maxId = id;
  at->second = s;
  return s;
}

void QdIfcModel::beginConcurrentFill() {
  if (!m_concurrent) m_concurrent = std::make_unique<ConcurrentFill>();
}

void QdIfcModel::endConcurrentFill() {
  if (!m_concurrent) return;
  std::unique_ptr<ConcurrentFill> fill = std::move(m_concurrent);
  // In number order, so that the table grows as it would have in a serial fill.
  std::vector<std::pair<uint64_t, detail::ObjectSlot*>> made(fill->made.begin(), fill->made.end());
  std::sort(made.begin(), made.end());
  for (const auto& [id, slot] : made) index(id, slot);
}

namespace {
// What a taken slot holds until its object is placed; never opened.
char g_claimMark;
QdIfcEntityBase* claimedMark() noexcept { return reinterpret_cast<QdIfcEntityBase*>(&g_claimMark); }
}  // namespace

bool QdIfcModel::claim(const QdDbObjectId& handle) noexcept {
  detail::ObjectSlot* s = handle.slot();
  if (!s || s->object) return false;
  s->object = claimedMark();
  return true;
}

void QdIfcModel::unclaim(const QdDbObjectId& handle) noexcept {
  detail::ObjectSlot* s = handle.slot();
  if (s && s->object == claimedMark()) s->object = nullptr;
}

void QdIfcModel::place(const QdDbObjectId& handle, QdIfcEntityBase* object) noexcept {
  detail::ObjectSlot* s = handle.slot();
  s->object = object;
  object->m_objectId = handle;
}

QdDbObjectId QdIfcModel::find(uint64_t id) const noexcept { return QdDbObjectId(lookup(id)); }

QdIfcEntityBase* QdIfcModel::detachInstance(const QdDbObjectId& id) {
  detail::ObjectSlot* s = id.slot();
  if (!s || detail::modelOfSlot(s) != this || !s->object) return nullptr;
  QdIfcEntityBase* object = s->object;
  s->object = nullptr;
  object->m_objectId.setNull();
  --m_live;
  return object;
}

bool QdIfcModel::removeInstance(const QdDbObjectId& id) {
  QdIfcEntityBase* object = detachInstance(id);
  delete object;
  return object != nullptr;
}

void QdIfcModel::clear() {
  for (auto& page : m_pages) {
    size_t n = (&page == &m_pages.back()) ? (m_slotsUsed - 1) % kPageSize + 1 : kPageSize;
    auto* slots = reinterpret_cast<detail::ObjectSlot*>(page.get() + 1);
    for (size_t i = 0; i < n; ++i) {
      detail::ObjectSlot& s = slots[i];
      if (QdIfcEntityBase* object = s.object) {
        s.object = nullptr;
        object->m_objectId.setNull();
        delete object;
      }
    }
  }
  m_pages.clear();
  m_dense.clear();
  m_dense.shrink_to_fit();
  m_sparse.clear();
  m_slotsUsed = m_live = 0;
  m_maxId = 0;
  // The objects are freed; the blocks go once detached objects in them are freed too.
  m_arena = std::make_unique<QdIfcArena>();
}

std::vector<uint64_t> QdIfcModel::unresolvedIds() const {
  std::vector<uint64_t> ids;
  for (size_t i = 0; i < m_dense.size(); ++i)
    if (m_dense[i] && !m_dense[i]->object) ids.push_back(i);
  for (const auto& [id, s] : m_sparse)
    if (!s->object) ids.push_back(id);
  return ids;
}

std::vector<QdDbObjectId> QdIfcModel::instances() const {
  std::vector<QdDbObjectId> out;
  out.reserve(m_live);
  forEach([&](const QdDbObjectId& h, QdIfcEntityBase*) { out.push_back(h); });
  return out;
}

size_t QdIfcModel::bookkeepingBytes() const noexcept {
  return m_pages.size() * detail::kSlotPageBytes + m_dense.capacity() * sizeof(void*) +
         m_sparse.size() * (sizeof(uint64_t) + sizeof(void*) + 4 * sizeof(void*));
}

void QdIfcModel::setInverseCounterParts() {
  QdIfcInverseBatch batch;
  setInverseCounterParts(batch);
  batch.flush();
}

void QdIfcModel::setInverseCounterParts(QdIfcInverseBatch& batch) {
  // The batch is the model's while its instances link, and no longer, also when a link
  // throws.
  struct Lend {
    QdIfcInverseBatch*& slot;
    QdIfcInverseBatch* const previous;
    ~Lend() { slot = previous; }
  } lend{m_inverseBatch, m_inverseBatch};
  m_inverseBatch = &batch;
  forEach([](const QdDbObjectId&, QdIfcEntityBase* object) { object->setInverseCounterParts(); });
}

}  // namespace QD_SDAI
