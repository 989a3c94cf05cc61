#include "core/textfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "core/paths.h"
#include "core/text_encoding.h"

namespace vm {

std::string FileError::Describe() const {
  std::string out = File;
  if (Line > 0) out += ", line " + std::to_string(Line);
  if (!Field.empty()) out += ", field " + Field;
  out += ": " + Message;
  return out;
}

FileFormatError::FileFormatError(FileError error) : std::runtime_error(error.Describe()), error_(std::move(error)) {}

// ---------------------------------------------------------------------------------------------
// Writing

void TextWriter::Separate() {
  if (lineOpen_) text_ += ',';
  lineOpen_ = true;
}

TextWriter& TextWriter::Str(std::string_view text) {
  Separate();
  text_ += '"';
  const size_t start = text_.size();
  text_.append(text.data(), text.size());
  // The form has no escape: a quote or a line end inside a string would cut the field.
  for (size_t i = start; i < text_.size(); ++i) {
    char& c = text_[i];
    if (c == '"') c = '\'';
    if (c == '\r' || c == '\n') c = ' ';
  }
  text_ += '"';
  return *this;
}

// Numbers go straight from a buffer on the stack: a saved race is some ten thousand of them.
TextWriter& TextWriter::Int(long long value) {
  Separate();
  char buf[24];
  const auto [end, ec] = std::to_chars(buf, buf + sizeof buf, value);
  text_.append(buf, static_cast<size_t>((ec == std::errc() ? end : buf) - buf));
  return *this;
}

TextWriter& TextWriter::Dbl(double value) {
  Separate();
  char buf[64];
  const auto [end, ec] = std::isfinite(value) ? std::to_chars(buf, buf + sizeof buf, value)
                                              : std::to_chars_result{buf, std::errc::value_too_large};
  if (ec == std::errc())
    text_.append(buf, static_cast<size_t>(end - buf));
  else
    text_ += '0';  // the form has no word for these
  return *this;
}

TextWriter& TextWriter::Bool(bool value) {
  Separate();
  text_ += value ? "#TRUE#" : "#FALSE#";
  return *this;
}

TextWriter& TextWriter::Word(std::string_view word) {
  Separate();
  text_ += word;
  return *this;
}

void TextWriter::EndLine() {
  text_ += "\r\n";
  lineOpen_ = false;
}

std::string FormatDouble(double value) {
  if (!std::isfinite(value)) return "0";  // the form has no word for these
  std::array<char, 64> buf{};
  auto [end, ec] = std::to_chars(buf.data(), buf.data() + buf.size(), value);
  if (ec != std::errc()) return "0";
  return std::string(buf.data(), end);
}

double RoundHalfEven(double value) {
  // nearbyint rounds by the current mode, which is to-nearest-even unless someone changed it.
  return std::nearbyint(value);
}

// ---------------------------------------------------------------------------------------------
// Reading

namespace {

bool IsSpace(char c) { return c == ' ' || c == '\t'; }
bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

// Parses the numbers such files hold: "5", "-3", ".5", "-.25", "1E+03", "2.5D-1", "+7".
std::optional<double> ParseNumber(std::string_view text) {
  std::string norm;
  size_t i = 0;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    if (text[i] == '-') norm += '-';
    ++i;
  }
  size_t digits = 0;
  bool seenDot = false, seenExp = false;
  for (; i < text.size(); ++i) {
    char c = text[i];
    if (c >= '0' && c <= '9') {
      ++digits;
      norm += c;
    } else if (c == '.' && !seenDot && !seenExp) {
      seenDot = true;
      norm += c;
    } else if ((c == 'e' || c == 'E' || c == 'd' || c == 'D') && !seenExp && digits > 0) {
      seenExp = true;
      norm += 'e';
      if (i + 1 < text.size() && (text[i + 1] == '+' || text[i + 1] == '-')) norm += text[++i];
      if (i + 1 >= text.size()) return std::nullopt;
    } else {
      return std::nullopt;
    }
  }
  if (digits == 0) return std::nullopt;
  double value = 0;
  auto [end, ec] = std::from_chars(norm.data(), norm.data() + norm.size(), value);
  if (ec != std::errc() || end != norm.data() + norm.size()) return std::nullopt;
  return value;
}

}  // namespace

TextReader::TextReader(std::string text, std::string fileName)
    : text_(std::move(text)), fileName_(std::move(fileName)) {
  // Editors on other systems may put a byte-order mark in front; it is no part of any field.
  if (text_.rfind("\xEF\xBB\xBF", 0) == 0) pos_ = 3;
}

void TextReader::Fail(FileErrorCode code, std::string_view field, std::string message, int line) const {
  throw FileFormatError(FileError{code, fileName_, line > 0 ? line : line_, std::string(field), std::move(message)});
}

void TextReader::ConsumeLineEnd() {
  const char c = text_[pos_++];
  if (c == '\r' && pos_ < text_.size() && text_[pos_] == '\n') ++pos_;
  ++line_;
}

void TextReader::SkipBlank() {
  while (pos_ < text_.size()) {
    if (IsSpace(text_[pos_])) {
      ++pos_;
    } else if (IsLineEnd(text_[pos_])) {
      ConsumeLineEnd();
    } else {
      break;
    }
  }
}

bool TextReader::AtEnd() {
  size_t p = pos_;
  while (p < text_.size() && (IsSpace(text_[p]) || IsLineEnd(text_[p]))) ++p;
  return p >= text_.size();
}

TextReader::Raw TextReader::NextField(std::string_view field) {
  if (afterComma_) {
    while (pos_ < text_.size() && IsSpace(text_[pos_])) ++pos_;
  } else {
    SkipBlank();
    if (pos_ >= text_.size()) Fail(FileErrorCode::PastEnd, field, "the file ends before this field");
  }
  Raw raw;
  raw.line = line_;
  lastFieldLine_ = line_;
  if (pos_ < text_.size() && text_[pos_] == '"') {
    size_t close = pos_ + 1;
    while (close < text_.size() && text_[close] != '"' && !IsLineEnd(text_[close])) ++close;
    if (close >= text_.size() || text_[close] != '"')
      Fail(FileErrorCode::TypeMismatch, field, "a string has no closing quote");
    raw.text = text_.substr(pos_ + 1, close - pos_ - 1);
    raw.quoted = true;
    pos_ = close + 1;
    // Anything between the closing quote and the delimiter is dropped, as Input does.
    while (pos_ < text_.size() && text_[pos_] != ',' && !IsLineEnd(text_[pos_])) ++pos_;
  } else {
    size_t end = pos_;
    while (end < text_.size() && text_[end] != ',' && !IsLineEnd(text_[end])) ++end;
    size_t last = end;
    while (last > pos_ && IsSpace(text_[last - 1])) --last;
    raw.text = text_.substr(pos_, last - pos_);
    pos_ = end;
  }
  afterComma_ = false;
  if (pos_ < text_.size()) {
    if (text_[pos_] == ',') {
      ++pos_;
      afterComma_ = true;
    } else {
      ConsumeLineEnd();
    }
  }
  return raw;
}

bool TextReader::TakeWord(std::string_view word) {
  const size_t pos = pos_;
  const int line = line_;
  const int lastLine = lastFieldLine_;
  const bool afterComma = afterComma_;
  if (AtEnd()) return false;
  const Raw raw = NextField(word);
  if (!raw.quoted && raw.text == word) return true;
  pos_ = pos;
  line_ = line;
  lastFieldLine_ = lastLine;
  afterComma_ = afterComma;
  return false;
}

std::string TextReader::ReadString(std::string_view field) { return DecodeFileText(NextField(field).text); }

double TextReader::ReadDouble(std::string_view field) {
  Raw raw = NextField(field);
  if (!raw.quoted) {
    if (raw.text.empty()) return 0.0;
    if (EqualsNoCase(raw.text, "#TRUE#")) return -1.0;
    if (EqualsNoCase(raw.text, "#FALSE#")) return 0.0;
  }
  std::optional<double> value = raw.quoted ? std::nullopt : ParseNumber(raw.text);
  if (!value || !std::isfinite(*value))
    Fail(FileErrorCode::TypeMismatch, field, "expected a number, found \"" + raw.text.substr(0, 40) + "\"", raw.line);
  return *value;
}

long long TextReader::ReadInteger(std::string_view field, long long lo, long long hi) {
  const double value = RoundHalfEven(ReadDouble(field));
  if (value < static_cast<double>(lo) || value > static_cast<double>(hi)) {
    Fail(FileErrorCode::OutOfRange, field,
         FormatDouble(value) + " is outside " + std::to_string(lo) + ".." + std::to_string(hi), lastFieldLine_);
  }
  return static_cast<long long>(value);
}

bool TextReader::ReadBool(std::string_view field, bool allowWords) {
  Raw raw = NextField(field);
  if (!raw.quoted || allowWords) {
    if (EqualsNoCase(raw.text, "#TRUE#")) return true;
    if (EqualsNoCase(raw.text, "#FALSE#") || raw.text.empty()) return false;
    if (allowWords && EqualsNoCase(raw.text, "True")) return true;
    if (allowWords && EqualsNoCase(raw.text, "False")) return false;
    if (!raw.quoted) {
      if (std::optional<double> n = ParseNumber(raw.text)) return *n != 0.0;
    }
  }
  Fail(FileErrorCode::TypeMismatch, field, "expected #TRUE# or #FALSE#, found \"" + raw.text.substr(0, 40) + "\"",
       raw.line);
}

// ---------------------------------------------------------------------------------------------
// Whole files

namespace {

// Closes a descriptor on every way out.
struct Descriptor {
  int fd = -1;
  ~Descriptor() {
    if (fd >= 0) ::close(fd);
  }
};

std::string KindOf(mode_t mode) {
  if (S_ISDIR(mode)) return "a folder";
  if (S_ISFIFO(mode)) return "a pipe";
  if (S_ISCHR(mode) || S_ISBLK(mode)) return "a device";
  if (S_ISSOCK(mode)) return "a socket";
  return "not a plain file";
}

}  // namespace

std::optional<FileError> ReadTextFile(const std::string& path, std::string& text) {
  auto failure = [&](FileErrorCode code, std::string why) { return FileError{code, path, 0, "", std::move(why)}; };
  const std::string resolved = ResolvePath(path);
  // Non-blocking, so that opening a pipe with no writer returns at once; fstat then refuses it.
  Descriptor file{::open(resolved.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
  if (file.fd < 0) {
    // A folder cannot be opened for reading on some systems: say what it is all the same.
    struct stat st {};
    if (::stat(resolved.c_str(), &st) == 0 && !S_ISREG(st.st_mode))
      return failure(FileErrorCode::NotAFile, "this is " + KindOf(st.st_mode) + ", not a file");
    return failure(FileErrorCode::NotFound, "the file cannot be opened");
  }
  struct stat st {};
  if (::fstat(file.fd, &st) != 0) return failure(FileErrorCode::NotFound, "the file cannot be opened");
  if (!S_ISREG(st.st_mode)) return failure(FileErrorCode::NotAFile, "this is " + KindOf(st.st_mode) + ", not a file");
  const std::string tooLarge = "the file is larger than " + std::to_string(kMaxTextFileBytes / (1024 * 1024)) + " MB";
  if (static_cast<std::uintmax_t>(st.st_size) > kMaxTextFileBytes) return failure(FileErrorCode::TooLarge, tooLarge);
  // The size may change under us: read to the end, but never past the limit.
  std::string content;
  content.reserve(static_cast<size_t>(st.st_size));
  std::array<char, 65536> buffer{};
  while (true) {
    const ssize_t got = ::read(file.fd, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return failure(FileErrorCode::NotFound, std::strerror(errno));
    if (got == 0) break;
    content.append(buffer.data(), static_cast<size_t>(got));
    if (content.size() > kMaxTextFileBytes) return failure(FileErrorCode::TooLarge, tooLarge);
  }
  text = std::move(content);
  return std::nullopt;
}

std::optional<std::string> ReadWholeFile(const std::string& path) {
  std::string text;
  if (ReadTextFile(path, text)) return std::nullopt;
  return text;
}

std::optional<FileError> WriteFileAtomic(const std::string& path, std::string_view content, Durability durability) {
  const std::string target = ResolvePath(path);
  const std::string temp = target + ".tmp" + std::to_string(::getpid());
  auto failure = [&](std::string why) {
    std::remove(temp.c_str());
    return FileError{FileErrorCode::WriteFailed, path, 0, "", std::move(why)};
  };
  std::FILE* f = std::fopen(temp.c_str(), "wb");
  if (f == nullptr) return failure(std::strerror(errno));
  bool ok = std::fwrite(content.data(), 1, content.size(), f) == content.size();
  ok = std::fflush(f) == 0 && ok;
  if (durability == Durability::Synced) ok = ::fsync(::fileno(f)) == 0 && ok;
  ok = std::fclose(f) == 0 && ok;
  if (!ok) return failure("could not write the file");
  std::error_code ec;
  std::filesystem::rename(temp, target, ec);
  if (ec) return failure(ec.message());
  return std::nullopt;
}

std::optional<FileError> ReplaceFileViaSpare(const std::string& spare, const std::string& path,
                                             std::string_view content) {
  auto failure = [&](const char* why) { return FileError{FileErrorCode::WriteFailed, path, 0, "", why}; };
  const int fd = ::open(spare.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return failure(std::strerror(errno));
  size_t done = 0;
  while (done < content.size()) {
    const ssize_t n = ::write(fd, content.data() + done, content.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  bool ok = done == content.size();
  ok = ::ftruncate(fd, static_cast<off_t>(content.size())) == 0 && ok;
  ok = ::close(fd) == 0 && ok;
  if (!ok) return failure("could not write the file");
  if (::rename(spare.c_str(), path.c_str()) != 0) return failure(std::strerror(errno));
  return std::nullopt;
}

void LineRecord::End() const {
  if (in_.Line() == line_ && !in_.AtEnd())
    in_.Fail(FileErrorCode::TypeMismatch, "record end", what_ + " has more than " + std::to_string(fields_) + " fields",
             line_);
}

std::vector<std::string> SplitLines(std::string_view text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string line(text.substr(start, end - start));
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(std::move(line));
    start = end + 1;
  }
  return lines;
}

}  // namespace vm
