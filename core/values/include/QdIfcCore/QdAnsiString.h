// QdAnsiString: the 8-bit string held by every string member of an entity.
//
// One machine word: a pointer to the first byte of a shared, reference-counted
// block, or null for the empty string. The bytes are always zero-terminated, and
// the length is kept in the block, so BINARY values (which may contain zero bytes)
// travel in it unchanged. Copies share the block; a block is never written once it
// is shared, so value semantics hold without deep copies. The one-byte "unset"
// text lives in a static block that is never counted or freed, so assigning it
// (which every entity constructor does for its string members) allocates nothing.
// A block may come from a model's arena (QdIfcArena) instead of the heap: the reader
// puts the strings of a file there. Such a block is counted the same way, and its
// copies keep it (and so its arena block) alive after the model is gone.
#pragma once

#include <QdIfcCore/Export.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace QD_SDAI {

class QdIfcArena;

// Code pages understood by the code-page constructor. Only UTF-8 (45) is used by
// the toolkit; any other page is taken as bytes that are already what the caller wants.
enum code_page_id : int {
  CP_UNDEFINED = 0,
  CP_ISO_8859_1 = 28,
  CP_UTF_8 = 45,
};

class QDIFCCORE_API QdAnsiString {
 public:
  QdAnsiString() noexcept = default;
  QdAnsiString(const char* text);  // null gives the empty string
  QdAnsiString(const char* data, int length, code_page_id page);
  QdAnsiString(std::string_view bytes);
  // The bytes in a block from arena (the heap when null).
  QdAnsiString(std::string_view bytes, QdIfcArena* arena);
  QdAnsiString(const QdAnsiString& other) noexcept;
  QdAnsiString(QdAnsiString&& other) noexcept : m_data(other.m_data) { other.m_data = nullptr; }
  ~QdAnsiString();

  QdAnsiString& operator=(const char* text);
  QdAnsiString& operator=(const QdAnsiString& other) noexcept;
  QdAnsiString& operator=(QdAnsiString&& other) noexcept;

  operator const char*() const noexcept { return constStr(); }
  const char* constStr() const noexcept { return m_data ? m_data : ""; }
  std::string_view view() const noexcept { return {constStr(), static_cast<size_t>(length())}; }

  bool isEmpty() const noexcept { return m_data == nullptr || length() == 0; }
  int length() const noexcept;

  // Byte order, shorter first on a common prefix; 0 when equal.
  int compare(const char* text) const noexcept;
  int compare(const QdAnsiString& other) const noexcept;
  // As compare, but ASCII letters compare without regard to case.
  int compareNoCase(const char* text) const noexcept;

  // True when this is the one-byte unset text 0xFF.
  bool isUnset() const noexcept;

  void swap(QdAnsiString& other) noexcept {
    const char* t = m_data;
    m_data = other.m_data;
    other.m_data = t;
  }

  friend bool operator==(const QdAnsiString& a, const QdAnsiString& b) noexcept { return a.compare(b) == 0; }
  friend bool operator==(const QdAnsiString& a, const char* b) noexcept { return a.compare(b) == 0; }
  friend bool operator<(const QdAnsiString& a, const QdAnsiString& b) noexcept { return a.compare(b) < 0; }

 private:
  void assignBytes(const char* data, size_t length, QdIfcArena* arena = nullptr);
  const char* m_data = nullptr;
};

static_assert(sizeof(QdAnsiString) == sizeof(void*), "QdAnsiString must be one machine word");

}  // namespace QD_SDAI
