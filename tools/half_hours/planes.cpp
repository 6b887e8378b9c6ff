#include "tools/half_hours/planes.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "base/error.h"

namespace sonic::records {

namespace {

constexpr std::string_view HEAD = "from\tto\tperiods\tb0\tb1\tb2";
constexpr size_t COLUMNS = 6;
constexpr double MAX_SLOPE = 1;  // 45 degrees: such an instrument is not level

std::optional<std::array<double, COLUMNS>> numbers_of(std::string_view line) {
  std::array<double, COLUMNS> numbers;
  const char* p = line.data();
  const char* const end = p + line.size();
  for (size_t i = 0; i < COLUMNS; ++i) {
    if (i > 0 && (p == end || *p++ != '\t')) return {};
    const auto [next, error] = std::from_chars(p, end, numbers[i]);
    if (error != std::errc() || !std::isfinite(numbers[i])) return {};
    p = next;
  }
  if (p != end) return {};
  return numbers;
}

bool is_angle(double degrees) { return degrees >= 0 && degrees <= 360; }

}  // namespace

std::vector<Plane> read_planes(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw_error(errno, {path, ": "});
  std::string line;
  if (!std::getline(file, line) || line != HEAD) {
    throw std::runtime_error(path + ": no planar fit, as sonic-plot --planar-fit writes it");
  }
  std::vector<Plane> planes;
  while (std::getline(file, line)) {
    const auto n = numbers_of(line);
    if (!n || !is_angle((*n)[0]) || !is_angle((*n)[1]) || std::abs((*n)[4]) > MAX_SLOPE ||
        std::abs((*n)[5]) > MAX_SLOPE) {
      throw std::runtime_error((path + ": '").append(line) + "' is not a plane");
    }
    planes.push_back({(*n)[0], (*n)[1], (*n)[3], (*n)[4], (*n)[5]});
  }
  if (planes.empty()) throw std::runtime_error(path + ": no plane");
  return planes;
}

}  // namespace sonic::records
