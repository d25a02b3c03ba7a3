#include "FuzzChecks.h"

#include <QdIfc4/Module.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdIfcModel.h>
#include <QdIfcCore/QdSpfFile.h>
#include <QdIfcCore/TextEncodeDecode.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <tuple>

using namespace QD_SDAI;

namespace qdifc_fuzz {

namespace {

bool isScalar(char32_t cp) { return cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF); }

std::string where(const QdIfcLoadReport& r, const QdSpfProblem& p) {
  return " (" + r.describe(p) + " at offset " + std::to_string(p.offset) + ")";
}

// The load options of every target: files of other schemas are read on, so that the
// data section is reached whatever FILE_SCHEMA says.
QdIfcLoadOptions options() {
  QdIfcLoadOptions o;
  o.acceptOtherSchemas = true;
  return o;
}

std::string reportFaults(std::string_view bytes, const QdIfcLoadReport& r, const QdIfcModel& model) {
  if (r.bytes != bytes.size()) return "the report's size is not the input's";
  uint64_t line = 1, previous = 0;
  size_t at = 0;
  for (const QdSpfProblem& p : r.problems) {
    if (p.offset > bytes.size()) return "a problem past the end" + where(r, p);
    if (p.offset < previous) return "problems out of order" + where(r, p);
    for (; at < p.offset; ++at)
      if (bytes[at] == '\n') ++line;
    if (p.line != line)
      return "a problem on line " + std::to_string(p.line) + " is on line " + std::to_string(line) + where(r, p);
    if (p.expected.empty() || p.found.empty()) return "a problem without its texts" + where(r, p);
    previous = p.offset;
  }
  if (r.records != model.size())
    return std::to_string(r.records) + " records reported, " + std::to_string(model.size()) + " instances";
  uint64_t sum = 0;
  for (size_t i = 0; i < r.counts.size(); ++i) {
    if (r.counts[i].second == 0) return "a type counted with no instance";
    if (i > 0 && !(r.counts[i - 1].first < r.counts[i].first)) return "the counts are not sorted by name";
    sum += r.counts[i].second;
  }
  if (sum != r.records) return "the counts do not add up to the records";
  if (r.schemaRefused && model.size() != 0) return "a refused file left instances";
  return {};
}

}  // namespace

std::string checkLoad(std::string_view bytes) {
  QdIfcModel model(qdifcGetSchemaPointer());
  QdIfcLoadReport report = qdIfcLoad(model, bytes, options());
  std::string fault = reportFaults(bytes, report, model);
  if (!fault.empty()) return fault;
  // Whatever was read can be written.
  std::string text = qdIfcSaveText(model);
  if (text.rfind("ISO-10303-21;", 0) != 0) return "the written text does not start as a file does";
  return {};
}

std::string checkCodec(std::string_view bytes) {
  // Decoding anything gives scalar values that encode and decode back exactly.
  std::u32string decoded;
  TextEncodeDecode::decode(bytes, decoded);
  for (char32_t cp : decoded)
    if (!isScalar(cp)) return "decoding gave U+" + std::to_string(static_cast<uint32_t>(cp));
  std::string encoded;
  if (!TextEncodeDecode::encode(decoded, encoded)) return "decoded text does not encode cleanly";
  std::u32string again;
  if (!TextEncodeDecode::decode(encoded, again)) return "encoded text is not standard: " + encoded;
  if (again != decoded) return "encoded text decodes to other code points: " + encoded;
  std::string twice;
  TextEncodeDecode::encode(again, twice);
  if (twice != encoded) return "encoding is not stable: " + encoded + " / " + twice;

  // The input as code points, three bytes each: anything that is no scalar value is
  // reported and written as U+FFFD; the rest comes back as it was.
  std::u32string points;
  for (size_t i = 0; i + 2 < bytes.size(); i += 3)
    points.push_back((static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) << 16 |
                      static_cast<uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8 |
                      static_cast<unsigned char>(bytes[i + 2])) %
                     0x110800);
  bool allScalar = std::all_of(points.begin(), points.end(), isScalar);
  std::string text;
  if (TextEncodeDecode::encode(points, text) != allScalar) return "encode's answer is wrong";
  std::u32string back;
  if (!TextEncodeDecode::decode(text, back)) return "encoded text is not standard: " + text;
  std::u32string cleaned = points;
  for (char32_t& cp : cleaned)
    if (!isScalar(cp)) cp = 0xFFFD;
  if (back != cleaned) return "code points do not come back: " + text;

  // The same through the host's strings.
  HsString host(cleaned);
  QdAnsiString transported;
  TextEncodeDecode codec;
  if (!codec.encodeText(host, transported, TextEncodeDecode::kStepString)) return "encodeText refused scalar values";
  HsString hostBack;
  if (!codec.decodeText(transported, hostBack, TextEncodeDecode::kStepString) || !(hostBack == host))
    return "decodeText does not give back what encodeText took";
  return {};
}

std::string checkRoundTrip(std::string_view bytes) {
  QdIfcModel first(qdifcGetSchemaPointer());
  QdIfcLoadReport r1 = qdIfcLoad(first, bytes, options());
  std::string text = qdIfcSaveText(first);
  QdIfcModel second(qdifcGetSchemaPointer());
  QdIfcLoadReport r2 = qdIfcLoad(second, text, options());
  std::string fault = reportFaults(text, r2, second);
  if (!fault.empty()) return "second load: " + fault;
  // Dangling references and references of a wrong type are written as they were read
  // and found again; nothing else may be.
  std::set<std::tuple<uint64_t, std::string, std::string>> known;
  for (const QdSpfProblem& p : r1.problems) known.emplace(p.instance, p.expected, p.found);
  for (const QdSpfProblem& p : r2.problems) {
    const bool kept = (p.expected.rfind("a record #", 0) == 0 && p.expected != "a record #n=...;") ||
                      p.expected.rfind("a reference to ", 0) == 0 || p.expected.rfind("FILE_SCHEMA", 0) == 0;
    if (!kept || !known.count({p.instance, p.expected, p.found})) return "a new problem after writing" + where(r2, p);
  }
  if (r1.counts != r2.counts) return "other instances per type after writing";
  if (qdIfcSaveText(second) != text) return "writing what was read from the written text gives other text";
  return {};
}

}  // namespace qdifc_fuzz
