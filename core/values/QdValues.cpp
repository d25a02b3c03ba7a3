// Small out-of-line parts of the core value classes.
#include <QdIfcCore/QdIfcException.h>
#include <QdIfcCore/QdIfcGUID.h>
#include <QdIfcCore/QdIfcSettings.h>
#include <QdIfcCore/QdLocker.h>
#include <QdIfcCore/QdTypeCode.h>

#include <random>

namespace QD_SDAI {

QdIfcException::QdIfcException(unsigned int code, const char* message, const char* location)
    : m_code(code), m_message(message ? message : ""), m_location(location ? location : "") {}

QdIfcException::~QdIfcException() = default;

QdIfcGUID& QdIfcGUID::operator=(const char* text) noexcept {
  clear();
  if (!text || (static_cast<unsigned char>(text[0]) == 0xFF && text[1] == '\0')) return *this;
  m_text[0] = '\0';
  for (int i = 0; i < kLength && text[i]; ++i) m_text[i] = text[i];
  return *this;
}

namespace {
constexpr char kGuidAlphabet[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_$";
}

bool QdIfcGUID::isWellFormed() const noexcept {
  if (!isSet() || std::strlen(m_text) != static_cast<size_t>(kLength)) return false;
  if (m_text[0] < '0' || m_text[0] > '3') return false;
  for (int i = 0; i < kLength; ++i)
    if (!std::memchr(kGuidAlphabet, m_text[i], sizeof kGuidAlphabet - 1)) return false;
  return true;
}

QdIfcGUID QdIfcGUID::generate() {
  // 128 random bits (version 4), written as 22 characters of the IFC base-64
  // alphabet: 2 bits first, then 21 groups of 6.
  const char* const kAlphabet = kGuidAlphabet;
  thread_local std::mt19937_64 rng{std::random_device{}()};
  uint64_t hi = rng(), lo = rng();
  hi = (hi & ~0xF000ull) | 0x4000ull;
  lo = (lo & ~(3ull << 62)) | (2ull << 62);
  char text[kLength + 1];
  text[0] = kAlphabet[hi >> 62];
  for (int i = 1; i < kLength; ++i) {
    int shift = 126 - 6 * i;  // bit position of the group's lowest bit
    unsigned v;
    if (shift >= 64) v = static_cast<unsigned>(hi >> (shift - 64)) & 63;
    else if (shift + 6 <= 64) v = static_cast<unsigned>(lo >> shift) & 63;
    else v = static_cast<unsigned>(((hi << (64 - shift)) | (lo >> shift)) & 63);
    text[i] = kAlphabet[v];
  }
  text[kLength] = '\0';
  return QdIfcGUID(text);
}

QdAny::~QdAny() = default;

QdAny& QdAny::operator<<(const char* text) {
  m_text = text;
  return *this;
}

QdTypeCode::~QdTypeCode() = default;

void QdTypeCode::appendParameter(const QdAny& parameter) { m_parameters.push_back(parameter); }

}  // namespace QD_SDAI

QD_SDAI::QdIfcSettings& settings() {
  static QD_SDAI::QdIfcSettings s;
  return s;
}

const QD_SDAI::QdLocker* qdifcGetVaraintTypeLocker() {
  static QD_SDAI::QdLocker locker;
  return &locker;
}
