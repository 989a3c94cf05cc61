// The result tables as text: 26 records, each table's dice count on a line of its own, then one
// line of low and high per row, every line led by the tag. An .rst file is the records alone; the
// block that race configurations, saved races, seasons and box scores embed is a line holding
// only the tag, then the records.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/result_tables.h"
#include "core/textfile.h"

namespace vm {

// The tag that leads every line of the block.
inline constexpr std::string_view kResultTableTag = "ResultTable";
inline constexpr int kResultTableRecordLines = 26;
inline constexpr int kResultTableBlockLines = kResultTableRecordLines + 1;

// What the common file dialog offers for result table files.
inline constexpr std::string_view kResultTableFilter = "Result Table Files (*.rst)|*.rst";
inline constexpr std::string_view kResultTableExtension = ".rst";

// Writes the 26 records as the rows stand; nothing is normalised here.
void WriteResultTableRecords(TextWriter& out, const ResultTables& tables);

// Reads the 26 records. The tags are read but never compared. Any 16-bit value is taken:
// overlapping or gapped rows and odd dice counts are the file's business. Throws
// FileFormatError naming the line and the field ("SS1.RangeLow") on a bad or short block;
// `tables` changes only when all records have been read. The reader is left at the line after.
void ReadResultTableRecords(TextReader& in, ResultTables& tables);

// Writes the embedded block: the heading line "ResultTable" alone, then the 26 records.
void WriteResultTableBlock(TextWriter& out, const ResultTables& tables);

// Reads the embedded block. The heading is taken by position, never compared, but must stand
// alone on its line: a record in its place (a block without the heading) is refused at once.
void ReadResultTableBlock(TextReader& in, ResultTables& tables);

// Returns the text of an .rst file for the rows as they stand: the 26 records, no heading.
std::string ResultTablesText(const ResultTables& tables);

// Gives a disabled success row a low equal to its high, as a save does: SS1, A1, TB1, CH1 and
// CT1 ending at 1 start at 1; SD1 ending at 0 starts at 0. W1 is left alone.
void NormaliseForSave(ResultTables& tables);

// Reads an .rst file into the rows. On any failure the rows are left as they were and the
// error names file, line and field; a file that cannot be opened gives FileErrorCode::NotFound.
// Whatever follows the 26 lines is ignored.
std::optional<FileError> LoadResultTables(ResultTables& tables, const std::string& path);

// Reads .rst text already in memory; fileName only names it in errors.
std::optional<FileError> LoadResultTablesText(ResultTables& tables, std::string text, const std::string& fileName);

// Normalises the rows in memory, then writes them to an .rst file atomically.
std::optional<FileError> SaveResultTables(ResultTables& tables, const std::string& path);

}  // namespace vm
