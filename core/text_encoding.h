// Names in the game's files come in two encodings: UTF-8, and Latin-1 from older editors. Every
// text read from a file is brought to UTF-8 here, once, so that everything written afterwards
// (files, reports, JSON) is valid UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace vm {

// True when `text` is well-formed UTF-8: no stray continuation bytes, no overlong forms, no
// surrogates, nothing above U+10FFFF.
bool IsValidUtf8(std::string_view text);

// `text` as UTF-8: kept as it is when it is valid UTF-8, else read byte by byte as Latin-1.
std::string DecodeFileText(std::string_view text);

}  // namespace vm
