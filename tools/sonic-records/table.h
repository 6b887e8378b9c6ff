#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sonic::records {

/// Of the tables on standard output.
enum class TableFormat { TSV, CSV, JSON };

/// Writes to standard output through a buffer. Throws std::runtime_error when that fails. Only
/// whole lines leave it before flush(): a program that ends with an error leaves no torn row.
class OutputBuffer {
 public:
  OutputBuffer();
  OutputBuffer(const OutputBuffer&) = delete;
  OutputBuffer& operator=(const OutputBuffer&) = delete;

  void append(std::string_view text) {
    if (text.size() > _buffer.capacity() - _buffer.size()) write_out(_buffer.rfind('\n') + 1);
    _buffer.append(text);
  }
  void append(char c) { append(std::string_view(&c, 1)); }
  void flush() { write_out(_buffer.size()); }

 private:
  /// So many bytes of the buffer. With 0, the buffer grows.
  void write_out(size_t size);

  std::string _buffer;
};

/// A column of a table.
struct Column {
  std::string name;
  bool is_text;  ///< in JSON within quotation marks
};

/// A table in one of the formats. TSV and CSV have a line with the names of the columns at the top;
/// JSON is an object a line.
class Table {
 public:
  /// `station` becomes a first column, unless it is empty.
  Table(TableFormat format, const std::string& station, std::vector<Column> columns);

  /// One cell a column. A cell without text is none: empty, in JSON null. Text may be any bytes:
  /// CSV and JSON quote them, and replace what is no character (in CSV, none of a line); TSV has
  /// question marks for control characters and quotation marks.
  void row(const std::vector<std::string>& cells);
  void flush() { _out.flush(); }

  /// For a row that is written in pieces.
  OutputBuffer& out() { return _out; }
  const std::string& row_begin() const { return _row_begin; }

 private:
  std::string quoted(std::string text) const;

  const TableFormat _format;
  const std::vector<Column> _columns;
  std::string _row_begin;
  OutputBuffer _out;
};

}  // namespace sonic::records
