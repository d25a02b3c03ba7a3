// TextEncodeDecode: between wide text and the transported form of strings in an
// ISO 10303-21 file (the text between the quotes, with its escapes).
//
// Decoding understands every encoding of the format: '' and \\, \S\c with the code
// page chosen by \P?\ (ISO 8859-1 to 8859-9), \X\hh, \X2\...\X0\ and \X4\...\X0\.
// Encoding writes the shortest standard form. Malformed escapes are kept as they
// stand and make the call answer false; nothing is ever thrown.
#pragma once

#include <QdIfcCore/Export.h>
#include <QdIfcCore/HsString.h>
#include <QdIfcCore/QdAnsiString.h>

#include <string>
#include <string_view>

class QDIFCCORE_API TextEncodeDecode {
 public:
  enum CodecType : int {
    kRaw = 0,         // bytes as they are
    kStepString = 1,  // the transported form of a STEP string
  };

  TextEncodeDecode() = default;
  ~TextEncodeDecode() = default;

  bool encodeText(const HsString& in, QD_SDAI::QdAnsiString& out, CodecType type);
  bool decodeText(const QD_SDAI::QdAnsiString& in, HsString& out, CodecType type);

  // The same, on plain strings: code points or UTF-8 in, transported form out.
  static bool encode(std::u32string_view in, std::string& out);
  static bool decode(std::string_view in, std::u32string& out);
};
