// QdTypeCode: a kind and an ordered list of parameters, the dictionary's short
// description of a type. QdAny: one parameter (a text).
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/QdAnsiString.h>
#include <QdIfcCore/QdTypes.h>

#include <vector>

namespace QD_SDAI {

class QDIFCCORE_API QdAny {
 public:
  QdAny() = default;
  ~QdAny();
  QdAny(const QdAny&) = default;
  QdAny& operator=(const QdAny&) = default;

  // Replaces what the object held with the text.
  QdAny& operator<<(const char* text);

  const QdAnsiString& text() const noexcept { return m_text; }

 private:
  QdAnsiString m_text;
};

class QDIFCCORE_API QdTypeCode {
 public:
  explicit QdTypeCode(QdTypeCodeKind kind) : m_kind(kind) {}
  ~QdTypeCode();

  void appendParameter(const QdAny& parameter);

  QdTypeCodeKind kind() const noexcept { return m_kind; }
  int parameterCount() const noexcept { return static_cast<int>(m_parameters.size()); }
  const QdAny& parameter(int index) const { return m_parameters.at(static_cast<size_t>(index)); }

 private:
  QdTypeCodeKind m_kind;
  std::vector<QdAny> m_parameters;
};

}  // namespace QD_SDAI
