#include "tools/sonic-records/table.h"

#include <unistd.h>

#include <cerrno>

#include "base/error.h"

namespace sonic::records {

namespace {

constexpr size_t BUFFER_BYTES = 64 << 10;

// Bytes of a file's name or of an instrument's own text that would end a cell.
std::string cleaned(std::string text) {
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == 127 || c == '"' || c == '\\' || c == ',') c = '?';
  }
  return text;
}

}  // namespace

OutputBuffer::OutputBuffer() { _buffer.reserve(BUFFER_BYTES); }

void OutputBuffer::flush() {
  const char* bytes = _buffer.data();
  for (size_t left = _buffer.size(); left > 0;) {
    const ssize_t n = write(STDOUT_FILENO, bytes, left);
    const int error = errno;
    if (n == -1 && error == EINTR) continue;
    if (n == -1) throw_error(error, {"standard output: "});
    bytes += n;
    left -= static_cast<size_t>(n);
  }
  _buffer.clear();
}

Table::Table(TableFormat format, const std::string& station, std::vector<Column> columns)
    : _format(format), _columns(std::move(columns)) {
  const char divider = format == TableFormat::CSV ? ',' : '\t';
  const bool has_station = !station.empty();
  if (format == TableFormat::JSON) {
    _row_begin = has_station ? "{\"station\":\"" + station + "\"," : "{";
    return;
  }
  std::string names;
  if (has_station) {
    names = std::string("station") + divider;
    _row_begin = station + divider;
  }
  for (const Column& column : _columns) names.append(column.name) += divider;
  names.back() = '\n';
  _out.append(names);
}

void Table::row(const std::vector<std::string>& cells) {
  std::string line = _row_begin;
  for (size_t i = 0; i < cells.size(); ++i) {
    if (i > 0) line += _format == TableFormat::TSV ? '\t' : ',';
    if (_format != TableFormat::JSON) {
      line += cleaned(cells[i]);
      continue;
    }
    const bool is_quoted = _columns[i].is_text && !cells[i].empty();
    line.append("\"").append(_columns[i].name).append("\":");
    if (is_quoted) line += '"';
    line += cells[i].empty() ? "null" : cleaned(cells[i]);
    if (is_quoted) line += '"';
  }
  line += _format == TableFormat::JSON ? "}\n" : "\n";
  _out.append(line);
}

}  // namespace sonic::records
