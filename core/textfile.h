// The one text form every file of the game has: Write-style statements, one a line,
// comma-separated fields, strings in double quotes, numbers bare, Booleans #TRUE#/#FALSE#.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vm {

// Error codes in the sense the game reports them: 53 file not found, 62 input past the end
// of the file, 13 a field of the wrong type, 6 a value outside its range, 75 a path or write failure,
// 54 not a plain file, 7 too large to take in.
enum class FileErrorCode : int {
  NotFound = 53,
  NotAFile = 54,  // a directory, device or pipe where a file was wanted
  TooLarge = 7,   // larger than any file of the game can be
  PastEnd = 62,
  TypeMismatch = 13,
  OutOfRange = 6,
  WriteFailed = 75,
};

// What went wrong reading or writing a file: where, which field, and why.
struct FileError {
  FileErrorCode Code = FileErrorCode::TypeMismatch;
  std::string File;
  int Line = 0;       // 1-based line of the offending field, 0 when it has none
  std::string Field;  // the field's name as the format calls it
  std::string Message;

  // Renders "FILE, line N, field F: message" for people.
  std::string Describe() const;
};

// Thrown by TextReader; loaders catch it and hand back the FileError with the old state kept.
class FileFormatError : public std::runtime_error {
 public:
  explicit FileFormatError(FileError error);
  const FileError& Error() const { return error_; }

 private:
  FileError error_;
};

// Builds the text of a file statement by statement. Lines end in CR LF.
class TextWriter {
 public:
  TextWriter& Str(std::string_view text);
  TextWriter& Int(long long value);
  // Shortest form that reads back to the same double.
  TextWriter& Dbl(double value);
  TextWriter& Bool(bool value);
  // A bare word, unquoted: a mark no string field can be mistaken for.
  TextWriter& Word(std::string_view word);
  // Whole lines written before by another writer, copied as they stand.
  void Lines(std::string_view lines) { text_.append(lines.data(), lines.size()); }
  // Ends the current statement.
  void EndLine();
  // Room for a text of about this many bytes, so a large file is not built by regrowing.
  void Reserve(size_t bytes) { text_.reserve(bytes); }

  const std::string& Text() const { return text_; }

 private:
  void Separate();
  std::string text_;
  bool lineOpen_ = false;
};

// Formats a double the shortest way that reads back exactly (no exponent for ordinary values).
std::string FormatDouble(double value);

// Reads fields in order across line ends, as sequential Input statements do.
// A comma or a line end closes a field; blank lines are passed over; a blank field reads
// as 0, "" or false. Every failure throws FileFormatError naming file, line and field.
class TextReader {
 public:
  TextReader(std::string text, std::string fileName);

  // True when nothing but blank lines and spaces is left.
  bool AtEnd();

  // A string field, as UTF-8 whether the file holds UTF-8 or Latin-1.
  std::string ReadString(std::string_view field);
  double ReadDouble(std::string_view field);
  // A whole number within [lo, hi]; a fractional value is rounded half to even first.
  long long ReadInteger(std::string_view field, long long lo, long long hi);
  int ReadInt16(std::string_view field) { return static_cast<int>(ReadInteger(field, -32768, 32767)); }
  int ReadInt32(std::string_view field) { return static_cast<int>(ReadInteger(field, INT32_MIN, INT32_MAX)); }
  // #TRUE#/#FALSE#, or a number (non-zero is true); with allowWords also True/False.
  bool ReadBool(std::string_view field, bool allowWords = false);
  // Takes the next field when it is the bare (unquoted) `word`; otherwise reads nothing.
  bool TakeWord(std::string_view word);

  // Line of the next field to be read (1-based).
  int Line() const { return line_; }
  const std::string& FileName() const { return fileName_; }

  // Line of the field read last, for errors found only after reading it.
  int LastFieldLine() const { return lastFieldLine_; }

  // Throws a FileFormatError at `line` (the next field's line when 0).
  [[noreturn]] void Fail(FileErrorCode code, std::string_view field, std::string message, int line = 0) const;

 private:
  struct Raw {
    std::string text;
    bool quoted = false;
    int line = 0;
  };
  Raw NextField(std::string_view field);
  void SkipBlank();
  void ConsumeLineEnd();

  std::string text_;
  std::string fileName_;
  size_t pos_ = 0;
  int line_ = 1;
  int lastFieldLine_ = 0;
  bool afterComma_ = false;  // the last field ended in a comma: a blank field may follow
};

// Reads one record that must stand on a line of its own, so a short or long record is reported
// at its own line ("car 3 has only 40 of 41 fields") instead of shifting every later field.
class LineRecord {
 public:
  // `what` names the record in errors ("car 3"); `fields` is how many it holds.
  LineRecord(TextReader& in, std::string what, int fields) : in_(in), what_(std::move(what)), fields_(fields) {}

  int Int16(std::string_view field) {
    return Take(field, [&] { return in_.ReadInt16(field); });
  }
  int Int32(std::string_view field) {
    return Take(field, [&] { return in_.ReadInt32(field); });
  }
  int Int(std::string_view field, int lo, int hi) {
    return Take(field, [&] { return static_cast<int>(in_.ReadInteger(field, lo, hi)); });
  }
  bool Bool(std::string_view field) {
    return Take(field, [&] { return in_.ReadBool(field); });
  }
  double Dbl(std::string_view field) {
    return Take(field, [&] { return in_.ReadDouble(field); });
  }
  std::string Str(std::string_view field) {
    return Take(field, [&] { return in_.ReadString(field); });
  }

  // Checks that the line ends with the record's last field.
  void End() const;
  // The record's line; 0 before its first field.
  int Line() const { return line_; }
  // Fails at the record's line, the message led by its name.
  [[noreturn]] void Fail(FileErrorCode code, std::string_view field, const std::string& message) const {
    in_.Fail(code, field, what_ + " " + message, line_);
  }

 private:
  template <typename Read>
  auto Take(std::string_view field, Read read) -> decltype(read()) {
    if (line_ != 0 && in_.Line() != line_)
      in_.Fail(FileErrorCode::PastEnd, field,
               what_ + " has only " + std::to_string(read_) + " of " + std::to_string(fields_) + " fields", line_);
    auto value = read();
    if (line_ == 0) line_ = in_.LastFieldLine();
    ++read_;
    return value;
  }

  TextReader& in_;
  std::string what_;
  int fields_;
  int line_ = 0;
  int read_ = 0;
};

// The largest file any reader takes in; the game's own files are a few hundred kilobytes.
inline constexpr std::uintmax_t kMaxTextFileBytes = 16u * 1024 * 1024;

// Reads a whole file into `text`, the one way every loader takes a file in. A path that cannot
// be opened gives NotFound; a directory, device or pipe gives NotAFile and a file over
// kMaxTextFileBytes gives TooLarge, both without reading a byte and without blocking.
// `text` is left alone on failure.
std::optional<FileError> ReadTextFile(const std::string& path, std::string& text);

// Returns a text's lines without their ends; a CR before the LF is dropped.
std::vector<std::string> SplitLines(std::string_view text);

// ReadTextFile for callers that need only the text: nullopt on any failure.
std::optional<std::string> ReadWholeFile(const std::string& path);

// Whether a written file is forced to the disk before it replaces the old one.
enum class Durability {
  Synced,  // survives a power cut: for every file a player keeps
  Cached,  // left to the system's cache: for a scratch file rewritten every turn
};

// Writes a file through a temporary beside it and a rename, so a crash never leaves half a file.
std::optional<FileError> WriteFileAtomic(const std::string& path, std::string_view content,
                                         Durability durability = Durability::Synced);

// The same for a scratch file rewritten very often, at exact paths: the content is written over the
// spare file in place (made when missing), reusing its room on disk, and the spare then renamed to
// path. Path shows the old file or the new one, whole; the spare is not to be read. Not synced.
std::optional<FileError> ReplaceFileViaSpare(const std::string& spare, const std::string& path,
                                             std::string_view content);

// Rounds half to even, as the game's Round does.
double RoundHalfEven(double value);

}  // namespace vm
