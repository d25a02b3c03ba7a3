// QdIfcArena: the memory of one model's objects, in large blocks.
//
// A loaded model's entity objects, aggregate implementations and string bytes come from
// its arena: a pointer bump in a block of 2 MiB, no per-object heap header, no per-object
// lock. Freeing one object does not return its bytes at once; a block goes back to the
// system when its arena has let go of it and every object in it has been freed. So an
// object taken out of its model (detached) stays valid, and may be deleted by its new
// owner after the model is gone: it keeps its block alive until then.
//
// Which allocations came from an arena is told by the address: an arena hands out
// addresses that are 8 modulo 16, and the heap forms of the classes that use arenas ask
// the heap for 16-aligned memory. A block starts at a multiple of the block size, so the
// block of any arena address is found by masking, from any thread.
//
// One arena is filled by one thread at a time. Freeing is thread-safe (an atomic count
// per block). The entity and aggregate classes allocate from the arena that a Scope
// makes current on the calling thread, and from the heap when there is none.
#pragma once

#include <QdIfcCore/Export.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace QD_SDAI {

class QDIFCCORE_API QdIfcArena {
 public:
  static constexpr size_t kBlockSize = size_t{2} << 20;
  // Allocations above this size get a block of their own.
  static constexpr size_t kLargest = kBlockSize / 8;

  QdIfcArena() noexcept = default;
  // Lets go of the blocks; each is returned once the objects in it are freed.
  ~QdIfcArena();
  QdIfcArena(const QdIfcArena&) = delete;
  QdIfcArena& operator=(const QdIfcArena&) = delete;

  // n bytes, 8-aligned (the address is 8 modulo 16). Throws std::bad_alloc when the
  // system has no more.
  void* allocate(size_t n);
  // Whether p was handed out by an arena (any arena).
  static bool owns(const void* p) noexcept { return (reinterpret_cast<uintptr_t>(p) & 15) == 8; }
  // Frees n bytes at p, which an arena handed out; from any thread.
  static void release(void* p, size_t n) noexcept;

  // Takes over other's blocks, which then belong to this arena (a reader's per-thread
  // arenas end in the model's).
  void adopt(QdIfcArena& other);

  // Bytes handed out, and bytes of the blocks held (mapped, of which only the pages
  // written to are resident).
  size_t used() const noexcept { return m_used; }
  size_t reserved() const noexcept { return m_reserved; }

  // Bytes of the blocks of all arenas of the process that are mapped now: those held
  // by an arena, and those an arena let go of that still hold objects.
  static size_t mappedBytes() noexcept;

  // The arena the entity and aggregate classes allocate from on this thread, or null.
  static QdIfcArena* current() noexcept;
  // The class-level operator new and delete of those classes: n bytes from the current
  // arena, else 16-aligned from the heap; and back to where they came from.
  static void* allocateObject(size_t n);
  static void releaseObject(void* p, size_t n) noexcept;

  // Makes an arena current on this thread for its lifetime (null: the heap).
  class QDIFCCORE_API Scope {
   public:
    explicit Scope(QdIfcArena* arena) noexcept;
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    QdIfcArena* m_previous;
  };

 private:
  struct Block;
  void* grow(size_t n);
  void retireCurrent() noexcept;

  char* m_next = nullptr;  // the next free byte of the current block
  char* m_end = nullptr;
  Block* m_current = nullptr;
  uint64_t m_pending = 0;  // allocations in the current block not yet added to its count
  std::vector<Block*> m_blocks;
  size_t m_used = 0;
  size_t m_reserved = 0;
};

}  // namespace QD_SDAI
