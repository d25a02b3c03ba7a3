// QdIfcGUID: the 22-character global id of IfcRoot, held in place (no allocation).
// Unset is the one-byte text 0xFF in the buffer, as for strings; every other content,
// the empty text included, is a value (a file's '' is a GlobalId with no characters).
#pragma once

#include <QdIfcCore/Export.h>

#include <cstring>
#include <string_view>

namespace QD_SDAI {

class QDIFCCORE_API QdIfcGUID {
 public:
  static constexpr int kLength = 22;

  QdIfcGUID() noexcept { clear(); }
  explicit QdIfcGUID(const char* text) noexcept { *this = text; }

  // Takes up to 22 characters. Null and the unset text 0xFF make the id unset; the
  // empty text is a set id with no characters.
  QdIfcGUID& operator=(const char* text) noexcept;

  bool isSet() const noexcept { return !(static_cast<unsigned char>(m_text[0]) == 0xFF && m_text[1] == '\0'); }
  // Makes the id unset.
  void clear() noexcept {
    std::memset(m_text, 0, sizeof m_text);
    m_text[0] = static_cast<char>(0xFF);
  }
  // The buffer's text: the unset text 0xFF when unset.
  const char* constStr() const noexcept { return m_text; }
  operator const char*() const noexcept { return m_text; }
  std::string_view view() const noexcept { return m_text; }
  // Exactly 22 characters of the IFC base-64 alphabet, the first one 0 to 3 (it
  // carries the top two of the 128 bits).
  bool isWellFormed() const noexcept;

  // A fresh random id in the 22-character form of IFC.
  static QdIfcGUID generate();

  friend bool operator==(const QdIfcGUID& a, const QdIfcGUID& b) noexcept {
    return std::memcmp(a.m_text, b.m_text, sizeof a.m_text) == 0;
  }

 private:
  char m_text[kLength + 2];  // zero-terminated, zero-padded
};

static_assert(sizeof(QdIfcGUID) == 24, "a GUID fits the in-place storage of a variant");

}  // namespace QD_SDAI
