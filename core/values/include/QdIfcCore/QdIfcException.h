// QdIfcException: the one exception type of the toolkit, thrown by value.
#pragma once

#include <QdIfcCore/Export.h>

#include <exception>
#include <string>

namespace QD_SDAI {

class QDIFCCORE_API QdIfcException : public std::exception {
 public:
  QdIfcException(unsigned int code, const char* message, const char* location);
  QdIfcException(const QdIfcException&) = default;
  QdIfcException& operator=(const QdIfcException&) = default;
  ~QdIfcException() override;

  unsigned int code() const noexcept { return m_code; }
  const char* message() const noexcept { return m_message.c_str(); }
  // Where it was thrown ("IFC4::IfcRoot::putAttr"), or the empty text.
  const char* location() const noexcept { return m_location.c_str(); }
  const char* what() const noexcept override { return m_message.c_str(); }

 private:
  unsigned int m_code;
  std::string m_message;
  std::string m_location;
};

}  // namespace QD_SDAI
