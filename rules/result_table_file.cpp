#include "rules/result_table_file.h"

#include <utility>

namespace vm {

namespace {

std::string FieldName(const TableInfo& info, int row, std::string_view element) {
  return std::string(info.RowNames[static_cast<size_t>(row)]) + "." + std::string(element);
}

// One line of the block: the tag, then its numbers.
class Statement {
 public:
  explicit Statement(TextReader& in) : in_(in) {
    in_.ReadString(kResultTableTag);
    line_ = in_.LastFieldLine();
  }

  int Int16(const std::string& field) {
    try {
      return in_.ReadInt16(field);
    } catch (const FileFormatError& e) {
      // The reader looks past the line end for a missing number; a file that stops inside a
      // line is short at that line, not at the next.
      if (e.Error().Code != FileErrorCode::PastEnd) throw;
      in_.Fail(FileErrorCode::PastEnd, field, e.Error().Message, line_);
    }
  }

 private:
  TextReader& in_;
  int line_ = 0;
};

}  // namespace

void WriteResultTableRecords(TextWriter& out, const ResultTables& tables) {
  for (const TableInfo& info : AllTables()) {
    out.Str(kResultTableTag).Int(RowOf(tables, info.Id, 0).DiceCount);
    out.EndLine();
    for (int i = 0; i < info.RowCount; ++i) {
      const TableRow& row = RowOf(tables, info.Id, i);
      out.Str(kResultTableTag).Int(row.RangeLow).Int(row.RangeHigh);
      out.EndLine();
    }
  }
}

void ReadResultTableRecords(TextReader& in, ResultTables& tables) {
  // Built from nothing, so rows other than a table's first keep a dice count of 0.
  ResultTables read;
  for (const TableInfo& info : AllTables()) {
    RowOf(read, info.Id, 0).DiceCount = Statement(in).Int16(FieldName(info, 0, "DiceCount"));
    for (int i = 0; i < info.RowCount; ++i) {
      Statement line(in);
      TableRow& row = RowOf(read, info.Id, i);
      row.RangeLow = line.Int16(FieldName(info, i, "RangeLow"));
      row.RangeHigh = line.Int16(FieldName(info, i, "RangeHigh"));
    }
  }
  tables = read;
}

void WriteResultTableBlock(TextWriter& out, const ResultTables& tables) {
  out.Str(kResultTableTag);
  out.EndLine();
  WriteResultTableRecords(out, tables);
}

void ReadResultTableBlock(TextReader& in, ResultTables& tables) {
  in.ReadString(kResultTableTag);
  if (in.Line() == in.LastFieldLine() && !in.AtEnd())
    in.Fail(FileErrorCode::TypeMismatch, kResultTableTag,
            "the line \"ResultTable\" must stand alone before the table records", in.LastFieldLine());
  ReadResultTableRecords(in, tables);
}

std::string ResultTablesText(const ResultTables& tables) {
  TextWriter w;
  WriteResultTableRecords(w, tables);
  return w.Text();
}

void NormaliseForSave(ResultTables& tables) {
  for (TableRow* row : {&tables.SS1, &tables.A1, &tables.TB1, &tables.CH1, &tables.CT1})
    if (row->RangeHigh == 1) row->RangeLow = 1;
  if (tables.SD1.RangeHigh == 0) tables.SD1.RangeLow = 0;
}

std::optional<FileError> LoadResultTablesText(ResultTables& tables, std::string text, const std::string& fileName) {
  TextReader in(std::move(text), fileName);
  try {
    ReadResultTableRecords(in, tables);
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  return std::nullopt;
}

std::optional<FileError> LoadResultTables(ResultTables& tables, const std::string& path) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(path, text)) return error;
  return LoadResultTablesText(tables, std::move(text), path);
}

std::optional<FileError> SaveResultTables(ResultTables& tables, const std::string& path) {
  NormaliseForSave(tables);
  return WriteFileAtomic(path, ResultTablesText(tables));
}

}  // namespace vm
