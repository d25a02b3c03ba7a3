// QdIfcModel: an in-memory population of entity instances.
//
// The model owns its instances. Each has a slot that never moves; a handle
// (QdDbObjectId) is a pointer to that slot. Instance numbers lead to slots through
// a dense table (numbers as files have them: from 1, mostly without gaps) and a
// sorted overflow for numbers far beyond the rest, so finding an instance by its
// number is one index operation. A slot can be reserved for a number before its
// object exists: a reader gives out the handle of "#n" the first time it meets the
// reference and fills the slot when the record "#n" comes.
//
// The objects the model makes (createInstance, and a reader's) come from its arena, with
// their strings and aggregates when a reader fills them. Objects added from outside stay
// where they were allocated. A removed object is freed; a detached one is the caller's
// to delete, before or after the model is gone (QdIfcArena).
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdDbObjectId.h>
#include <QdIfcCore/QdIfcArena.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace QD_SDAI {

class QdIfcEntityBase;
class QdIfcInverseBatch;
class QdIfcSchema;

// Access to the attributes of a model's instances.
enum SdaiAccessMode : int {
  sdaiNoAccess = 0,  // not defined: reads and writes are refused
  sdaiRO = 1,        // read-only
  sdaiRW = 2,        // read-write
};

// The header section of a file, each entry as the parameter list of its record,
// parentheses included ("(('ViewDefinition [...]'),'2;1')").
struct QdSpfHeaderSection {
  std::string description;  // FILE_DESCRIPTION
  std::string name;         // FILE_NAME
  std::string schema;       // FILE_SCHEMA
};

class QDIFCCORE_API QdIfcModel {
 public:
  explicit QdIfcModel(const QdIfcSchema* schema = nullptr);
  ~QdIfcModel();
  QdIfcModel(const QdIfcModel&) = delete;
  QdIfcModel& operator=(const QdIfcModel&) = delete;

  SdaiAccessMode mode() const noexcept { return m_mode; }
  void setMode(SdaiAccessMode mode) noexcept { m_mode = mode; }
  const QdIfcSchema* schema() const noexcept { return m_schema; }
  // The header written with the model; filled by loading, empty for a new model.
  QdSpfHeaderSection& header() noexcept { return m_header; }
  const QdSpfHeaderSection& header() const noexcept { return m_header; }

  // Takes an object over under the next free number (one above the highest in use).
  // Null if the object is null or belongs to a model already.
  QdDbObjectId addInstance(QdIfcEntityBase* object);
  // Takes an object over under the given number (> 0). Null if the number is held
  // by a live instance, or the object is null or in a model already; the object
  // then stays the caller's.
  QdDbObjectId addInstance(QdIfcEntityBase* object, uint64_t id);
  // Makes an instance of the named entity type through the schema's factory and
  // adds it (id 0: the next free number). Null if there is no schema or no such type.
  QdDbObjectId createInstance(const char* typeName, uint64_t id = 0);

  // The handle of number id, reserving a slot if the number is not known yet.
  // Null only for id 0.
  QdDbObjectId handleFor(uint64_t id);
  // The handle of number id, or null if the model has no slot for it.
  QdDbObjectId find(uint64_t id) const noexcept;
  // The object of number id, or null.
  QdIfcEntityBase* object(uint64_t id) const noexcept { return find(id).openObject(); }

  // Deletes the instance. Its slot remains, empty, so that handles to it lead to
  // nothing instead of to freed memory. False if the handle is not of this model
  // or holds no object.
  bool removeInstance(const QdDbObjectId& id);
  // Gives the instance back to the caller without deleting it.
  QdIfcEntityBase* detachInstance(const QdDbObjectId& id);
  // Deletes every instance and forgets every number.
  void clear();

  // Number of live instances.
  size_t size() const noexcept { return m_live; }
  bool empty() const noexcept { return m_live == 0; }
  // Highest number ever given a slot.
  uint64_t maxId() const noexcept { return m_maxId; }
  // Numbers that have a slot but no object: references never defined, removed instances.
  std::vector<uint64_t> unresolvedIds() const;

  // Walks the live instances in ascending number order. The callback gets the
  // handle and the object; it must not add or remove instances.
  template <class F>
  void forEach(F&& visit) const {
    for (detail::ObjectSlot* s : m_dense)
      if (s && s->object) visit(QdDbObjectId(s), s->object);
    for (const auto& [id, s] : m_sparse)
      if (s->object) visit(QdDbObjectId(s), s->object);
  }
  // The live instances in ascending number order.
  std::vector<QdDbObjectId> instances() const;

  // Fills the inverse attributes of the whole model: every instance hands its own
  // handle to the objects its forward attributes name. The additions to inverse sets
  // are made in one batch at the end, so the cost is O(n log n) in any id order.
  // Running it again adds nothing twice. All references should resolve by then.
  void setInverseCounterParts();
  // The same, with the additions recorded in batch and left there for the caller to
  // flush (the batch's destructor does it too).
  void setInverseCounterParts(QdIfcInverseBatch& batch);
  // The batch this model's instances link into: the one given to
  // setInverseCounterParts while it runs, null otherwise.
  QdIfcInverseBatch* inverseBatch() const noexcept { return m_inverseBatch; }

  // Makes room for instances more numbers, up to maxId: a reader that knows its
  // records first spares the table's growth.
  void reserve(size_t instances, uint64_t maxId);

  // For a reader that fills the model from several threads. Between
  // beginConcurrentFill() and endConcurrentFill(), handleFor may be called from any
  // thread (a number without a slot gets one under a lock, known to the id table at the
  // end), and place() puts an object into the empty slot of a handle, touching nothing
  // else, so that threads may place into distinct slots at once; placed(n) then counts
  // them. Nothing else of the model may be used meanwhile.
  void beginConcurrentFill();
  void endConcurrentFill();
  static void place(const QdDbObjectId& handle, QdIfcEntityBase* object) noexcept;
  // Marks the empty slot of handle as taken by a record that a thread will place; false
  // if it holds an object or is taken already. unclaim empties a slot still taken.
  static bool claim(const QdDbObjectId& handle) noexcept;
  static void unclaim(const QdDbObjectId& handle) noexcept;
  void placed(size_t count) noexcept { m_live += count; }

  // Bytes held by the model's own bookkeeping (slots and tables, not the objects).
  size_t bookkeepingBytes() const noexcept;
  // The arena of the model's objects; its used() is their bytes (with the strings and
  // aggregates a reader put there).
  QdIfcArena& arena() noexcept { return *m_arena; }
  const QdIfcArena& arena() const noexcept { return *m_arena; }

 private:
  detail::ObjectSlot* newSlot(uint64_t id);
  detail::ObjectSlot* sharedSlot(uint64_t id);
  detail::ObjectSlot* lookup(uint64_t id) const noexcept;
  void index(uint64_t id, detail::ObjectSlot* slot);
  void attach(detail::ObjectSlot* slot, QdIfcEntityBase* object);

  // Slots per page, after the page's head.
  static constexpr size_t kPageSize =
      (detail::kSlotPageBytes - sizeof(detail::SlotPageHead)) / sizeof(detail::ObjectSlot);
  struct PageFree {
    void operator()(detail::SlotPageHead* page) const noexcept;
  };
  detail::ObjectSlot* slotAt(size_t n);

  const QdIfcSchema* m_schema;
  QdSpfHeaderSection m_header;
  SdaiAccessMode m_mode = sdaiRW;
  std::vector<std::unique_ptr<detail::SlotPageHead, PageFree>> m_pages;
  size_t m_slotsUsed = 0;  // slots handed out in all pages
  size_t m_live = 0;
  uint64_t m_maxId = 0;
  std::vector<detail::ObjectSlot*> m_dense;          // index = number
  std::map<uint64_t, detail::ObjectSlot*> m_sparse;  // numbers beyond the dense table
  QdIfcInverseBatch* m_inverseBatch = nullptr;
  std::unique_ptr<QdIfcArena> m_arena;
  // While filled from several threads: the lock and the slots made meanwhile.
  struct ConcurrentFill;
  std::unique_ptr<ConcurrentFill> m_concurrent;
};

}  // namespace QD_SDAI
