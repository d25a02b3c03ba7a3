// The properties the fuzz targets hold the library to, one function per target. Each
// takes the raw input and answers what went wrong, or an empty string. The fuzz
// programs abort on an answer; the regression test runs the saved inputs through the
// same functions in the ordinary suite. The load and round-trip checks need the IFC4
// module started.
#pragma once

#include <string>
#include <string_view>

namespace qdifc_fuzz {

// The whole load of a file from bytes: the report must be consistent with the bytes
// (offsets inside, lines right, problems in order) and with the model (counts, records).
std::string checkLoad(std::string_view bytes);

// The string codec both ways: what decoding gives encodes to text that decodes to the
// same code points, and encoding any code points gives text that decodes back to them.
std::string checkCodec(std::string_view bytes);

// Load, write, load again: the second load finds no problem the first did not, the
// same instances per type, and writing it gives the same text.
std::string checkRoundTrip(std::string_view bytes);

}  // namespace qdifc_fuzz
