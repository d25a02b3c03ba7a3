#include <QdIfcCore/QdIfcArena.h>

#include <sys/mman.h>

#include <atomic>
#include <new>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QDIFC_ARENA_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define QDIFC_ARENA_ASAN 1
#endif
#if defined(QDIFC_ARENA_ASAN)
#include <sanitizer/asan_interface.h>
// Free arena bytes are poisoned, so that a use after free is found as on the heap.
#define QDIFC_POISON(p, n) ASAN_POISON_MEMORY_REGION(p, n)
#define QDIFC_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION(p, n)
#else
#define QDIFC_POISON(p, n) ((void)(p), (void)(n))
#define QDIFC_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace QD_SDAI {

// The head of a block. refs counts the allocations not yet freed, plus kHeld while the
// arena holds the block; the block is unmapped when it reaches zero.
struct QdIfcArena::Block {
  std::atomic<int64_t> refs;
  size_t size;
};

namespace {

constexpr int64_t kHeld = int64_t{1} << 48;
// The first allocation: after the head, at 8 modulo 16.
constexpr size_t kFirst = 24;
static_assert(kFirst >= sizeof(std::atomic<int64_t>) + sizeof(size_t) && kFirst % 16 == 8);

thread_local QdIfcArena* t_current = nullptr;
std::atomic<size_t> g_mapped{0};

// size bytes of zeroed memory at a multiple of the block size.
void* mapAligned(size_t size) {
  const size_t total = size + QdIfcArena::kBlockSize;
  void* raw = mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (raw == MAP_FAILED) throw std::bad_alloc();
  const uintptr_t start = reinterpret_cast<uintptr_t>(raw);
  const uintptr_t aligned = (start + QdIfcArena::kBlockSize - 1) & ~(uintptr_t{QdIfcArena::kBlockSize} - 1);
  const size_t head = aligned - start;
  if (head) munmap(raw, head);
  char* block = static_cast<char*>(raw) + head;  // pointer arithmetic, not a cast from the integer
  if (total - head > size) munmap(block + size, total - head - size);
  g_mapped.fetch_add(size, std::memory_order_relaxed);
  return block;
}

void unmap(void* block, size_t size) noexcept {
  QDIFC_UNPOISON(block, size);
  munmap(block, size);
  g_mapped.fetch_sub(size, std::memory_order_relaxed);
}

size_t stepOf(size_t n) noexcept { return (n + 15) & ~size_t{15}; }

}  // namespace

void QdIfcArena::release(void* p, size_t n) noexcept {
  QDIFC_POISON(p, n);
  // The block's start: p less its offset in the block.
  auto* block = reinterpret_cast<Block*>(static_cast<char*>(p) -
                                         (reinterpret_cast<uintptr_t>(p) & (uintptr_t{QdIfcArena::kBlockSize} - 1)));
  if (block->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) unmap(block, block->size);
}

void* QdIfcArena::allocate(size_t n) {
  const size_t step = stepOf(n ? n : 1);
  if (step > static_cast<size_t>(m_end - m_next)) return grow(n);
  char* p = m_next;
  m_next += step;
  ++m_pending;
  m_used += step;
  QDIFC_UNPOISON(p, n);
  return p;
}

void* QdIfcArena::grow(size_t n) {
  const size_t step = stepOf(n ? n : 1);
  if (step > kLargest) {
    // A block of its own, counted at once; the current block stays current.
    const size_t size = (kFirst + step + 4095) & ~size_t{4095};
    m_blocks.reserve(m_blocks.size() + 1);
    auto* b = static_cast<Block*>(mapAligned(size));
    new (b) Block{{kHeld + 1}, size};
    m_blocks.push_back(b);
    m_used += step;
    m_reserved += size;
    return reinterpret_cast<char*>(b) + kFirst;
  }
  m_blocks.reserve(m_blocks.size() + 1);
  retireCurrent();
  void* memory = mapAligned(kBlockSize);
  // Backed by huge pages where the system gives them on request: fewer faults for a
  // block that is filled from start to end.
  madvise(memory, kBlockSize, MADV_HUGEPAGE);
  auto* b = new (memory) Block{{kHeld}, kBlockSize};
  m_blocks.push_back(b);
  m_current = b;
  m_next = static_cast<char*>(memory) + kFirst;
  m_end = static_cast<char*>(memory) + kBlockSize;
  m_reserved += kBlockSize;
  QDIFC_POISON(m_next, static_cast<size_t>(m_end - m_next));
  return allocate(n);
}

void QdIfcArena::retireCurrent() noexcept {
  if (m_current && m_pending) m_current->refs.fetch_add(static_cast<int64_t>(m_pending), std::memory_order_relaxed);
  m_pending = 0;
}

void QdIfcArena::adopt(QdIfcArena& other) {
  if (&other == this) return;
  other.retireCurrent();
  m_blocks.insert(m_blocks.end(), other.m_blocks.begin(), other.m_blocks.end());
  m_used += other.m_used;
  m_reserved += other.m_reserved;
  other.m_blocks.clear();
  other.m_current = nullptr;
  other.m_next = other.m_end = nullptr;
  other.m_used = other.m_reserved = 0;
}

QdIfcArena::~QdIfcArena() {
  retireCurrent();
  for (Block* b : m_blocks) {
    if (b->refs.fetch_sub(kHeld, std::memory_order_acq_rel) == kHeld) unmap(b, b->size);
  }
}

QdIfcArena* QdIfcArena::current() noexcept { return t_current; }

size_t QdIfcArena::mappedBytes() noexcept { return g_mapped.load(std::memory_order_relaxed); }

void* QdIfcArena::allocateObject(size_t n) {
  if (QdIfcArena* arena = t_current) return arena->allocate(n);
  return ::operator new (n, std::align_val_t{16});
}

void QdIfcArena::releaseObject(void* p, size_t n) noexcept {
  if (!p) return;
  if (owns(p)) release(p, n);
  else ::operator delete (p, std::align_val_t{16});
}

QdIfcArena::Scope::Scope(QdIfcArena* arena) noexcept : m_previous(t_current) { t_current = arena; }
QdIfcArena::Scope::~Scope() { t_current = m_previous; }

}  // namespace QD_SDAI
