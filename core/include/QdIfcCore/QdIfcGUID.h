// QdIfcGUID: the 22-character global id of IfcRoot, held in place (no allocation).
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

  // Takes up to 22 characters. Null, the empty text and the unset text 0xFF make
  // the id unset.
  QdIfcGUID& operator=(const char* text) noexcept;

  bool isSet() const noexcept { return m_text[0] != '\0'; }
  void clear() noexcept { std::memset(m_text, 0, sizeof m_text); }
  const char* constStr() const noexcept { return m_text; }
  operator const char*() const noexcept { return m_text; }
  std::string_view view() const noexcept { return m_text; }

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
