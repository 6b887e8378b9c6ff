#include "tools/sonic-records/table.h"

#include <json/writer.h>
#include <unistd.h>

#include <algorithm>
#include <boost/locale/utf.hpp>
#include <cerrno>

#include "base/error.h"

namespace sonic::records {

namespace {

constexpr size_t BUFFER_BYTES = 64 << 10;
constexpr const char* REPLACEMENT = "\xef\xbf\xbd";  // U+FFFD in UTF-8

bool is_control(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }

std::string csv_text(std::string text) {
  std::replace_if(text.begin(), text.end(), is_control, '?');
  if (text.find_first_of(",\"") == std::string::npos) return text;
  for (size_t at = 0; (at = text.find('"', at)) != std::string::npos; at += 2)
    text.insert(at, 1, '"');
  return '"' + text + '"';
}

std::string tsv_text(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return is_control(c) || c == '"'; }, '?');
  return text;
}

// Each byte that belongs to no character becomes a replacement character.
std::string utf8_text(const std::string& bytes) {
  using Utf8 = boost::locale::utf::utf_traits<char>;
  std::string text;
  for (auto at = bytes.begin(); at != bytes.end();) {
    const auto begin = at;
    const auto character = Utf8::decode(at, bytes.end());
    if (boost::locale::utf::is_valid_codepoint(character)) {
      text.append(begin, at);
    } else {
      text += REPLACEMENT;
      at = begin + 1;
    }
  }
  return text;
}

std::string json_text(const std::string& text) {
  static const Json::StreamWriterBuilder writer;
  return Json::writeString(writer, Json::Value(utf8_text(text)));
}

}  // namespace

OutputBuffer::OutputBuffer() { _buffer.reserve(BUFFER_BYTES); }

void OutputBuffer::write_out(size_t size) {
  const char* bytes = _buffer.data();
  for (size_t left = size; left > 0;) {
    const ssize_t n = write(STDOUT_FILENO, bytes, left);
    const int error = errno;
    if (n == -1 && error == EINTR) continue;
    if (n == -1) throw_error(error, {"standard output: "});
    bytes += n;
    left -= static_cast<size_t>(n);
  }
  _buffer.erase(0, size);
}

Table::Table(TableFormat format, const std::string& station, std::vector<Column> columns)
    : _format(format), _columns(std::move(columns)) {
  const bool has_station = !station.empty();
  if (format == TableFormat::JSON) {
    _row_begin = has_station ? "{\"station\":" + quoted(station) + "," : "{";
    return;
  }
  const char divider = format == TableFormat::CSV ? ',' : '\t';
  std::string names;
  if (has_station) {
    names = std::string("station") + divider;
    _row_begin = quoted(station) + divider;
  }
  for (const Column& column : _columns) names.append(column.name) += divider;
  names.back() = '\n';
  _out.append(names);
}

std::string Table::quoted(std::string text) const {
  switch (_format) {
    case TableFormat::CSV:
      return csv_text(std::move(text));
    case TableFormat::TSV:
      return tsv_text(std::move(text));
    case TableFormat::JSON:
      break;
  }
  return json_text(text);
}

void Table::row(const std::vector<std::string>& cells) {
  std::string line = _row_begin;
  for (size_t i = 0; i < cells.size(); ++i) {
    if (i > 0) line += _format == TableFormat::TSV ? '\t' : ',';
    if (_format == TableFormat::JSON) {
      line.append("\"").append(_columns[i].name).append("\":");
      if (cells[i].empty()) line += "null";
    }
    if (!cells[i].empty()) line += _columns[i].is_text ? quoted(cells[i]) : cells[i];
  }
  line += _format == TableFormat::JSON ? "}\n" : "\n";
  _out.append(line);
}

}  // namespace sonic::records
