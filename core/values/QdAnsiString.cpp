#include <QdIfcCore/QdAnsiString.h>

#include <QdIfcCore/QdIfcArena.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace QD_SDAI {
namespace {

// The block in front of the bytes. refs < 0 marks a static block that is never freed;
// the top bit of lengthAndArena one that an arena gave.
struct Rep {
  std::atomic<int32_t> refs;
  uint32_t lengthAndArena;
  // the bytes follow, zero-terminated
  char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
  uint32_t length() const noexcept { return lengthAndArena & ~kInArena; }
  static constexpr uint32_t kInArena = 0x80000000u;
};
static_assert(sizeof(Rep) == 8);

inline Rep* repOf(const char* data) noexcept { return reinterpret_cast<Rep*>(const_cast<char*>(data)) - 1; }

struct UnsetBlock {
  Rep rep;
  char text[2];
};
// Constant-initialised, so usable by static strings of other libraries however
// their initialisers are ordered.
constinit UnsetBlock g_unset{{-1, 1}, {'\xFF', '\0'}};

inline const char* unsetData() noexcept { return g_unset.text; }

inline void retain(const char* data) noexcept {
  if (data) {
    Rep* r = repOf(data);
    if (r->refs.load(std::memory_order_relaxed) >= 0) r->refs.fetch_add(1, std::memory_order_relaxed);
  }
}

inline void release(const char* data) noexcept {
  if (data) {
    Rep* r = repOf(data);
    if (r->refs.load(std::memory_order_relaxed) >= 0 && r->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      if (r->lengthAndArena & Rep::kInArena) QdIfcArena::release(r, sizeof(Rep) + r->length() + 1);
      else std::free(r);
    }
  }
}

inline unsigned char lowerAscii(unsigned char c) noexcept { return (c >= 'A' && c <= 'Z') ? c + 32 : c; }

}  // namespace

void QdAnsiString::assignBytes(const char* data, size_t length, QdIfcArena* arena) {
  if (length == 0) {
    m_data = nullptr;
    return;
  }
  if (length == 1 && static_cast<unsigned char>(data[0]) == 0xFF) {
    m_data = unsetData();
    return;
  }
  if (length > 0x7FFFFFF0u) throw std::bad_alloc();
  Rep* r = static_cast<Rep*>(arena ? arena->allocate(sizeof(Rep) + length + 1) : std::malloc(sizeof(Rep) + length + 1));
  if (!r) throw std::bad_alloc();
  new (&r->refs) std::atomic<int32_t>(1);
  r->lengthAndArena = static_cast<uint32_t>(length) | (arena ? Rep::kInArena : 0u);
  std::memcpy(r->bytes(), data, length);
  r->bytes()[length] = '\0';
  m_data = r->bytes();
}

QdAnsiString::QdAnsiString(const char* text) {
  if (text) assignBytes(text, std::strlen(text));
}

QdAnsiString::QdAnsiString(const char* data, int length, code_page_id /*page*/) {
  if (!data) return;
  size_t n = length < 0 ? std::strlen(data) : static_cast<size_t>(length);
  // Callers pass lengths both with and without the terminator; both mean the same text.
  if (n > 0 && data[n - 1] == '\0') --n;
  assignBytes(data, n);
}

QdAnsiString::QdAnsiString(std::string_view bytes) { assignBytes(bytes.data(), bytes.size()); }

QdAnsiString::QdAnsiString(std::string_view bytes, QdIfcArena* arena) {
  assignBytes(bytes.data(), bytes.size(), arena);
}

QdAnsiString::QdAnsiString(const QdAnsiString& other) noexcept : m_data(other.m_data) { retain(m_data); }

QdAnsiString::~QdAnsiString() { release(m_data); }

QdAnsiString& QdAnsiString::operator=(const char* text) {
  QdAnsiString tmp(text);
  swap(tmp);
  return *this;
}

// Self-assignment shares the same data and does nothing.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
QdAnsiString& QdAnsiString::operator=(const QdAnsiString& other) noexcept {
  if (m_data != other.m_data) {
    retain(other.m_data);
    release(m_data);
    m_data = other.m_data;
  }
  return *this;
}

QdAnsiString& QdAnsiString::operator=(QdAnsiString&& other) noexcept {
  if (this != &other) {
    release(m_data);
    m_data = other.m_data;
    other.m_data = nullptr;
  }
  return *this;
}

int QdAnsiString::length() const noexcept { return m_data ? static_cast<int>(repOf(m_data)->length()) : 0; }

bool QdAnsiString::isUnset() const noexcept { return m_data == unsetData(); }

namespace {
int compareBytes(const char* a, size_t na, const char* b, size_t nb) noexcept {
  size_t n = na < nb ? na : nb;
  int c = n ? std::memcmp(a, b, n) : 0;
  if (c != 0) return c < 0 ? -1 : 1;
  return na == nb ? 0 : (na < nb ? -1 : 1);
}
}  // namespace

int QdAnsiString::compare(const char* text) const noexcept {
  if (!text) text = "";
  return compareBytes(constStr(), static_cast<size_t>(length()), text, std::strlen(text));
}

int QdAnsiString::compare(const QdAnsiString& other) const noexcept {
  if (m_data == other.m_data) return 0;
  return compareBytes(constStr(), static_cast<size_t>(length()), other.constStr(), static_cast<size_t>(other.length()));
}

int QdAnsiString::compareNoCase(const char* text) const noexcept {
  if (!text) text = "";
  const unsigned char* a = reinterpret_cast<const unsigned char*>(constStr());
  const unsigned char* b = reinterpret_cast<const unsigned char*>(text);
  size_t na = static_cast<size_t>(length());
  size_t nb = std::strlen(text);
  size_t n = na < nb ? na : nb;
  for (size_t i = 0; i < n; ++i) {
    unsigned char x = lowerAscii(a[i]), y = lowerAscii(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return na == nb ? 0 : (na < nb ? -1 : 1);
}

}  // namespace QD_SDAI
