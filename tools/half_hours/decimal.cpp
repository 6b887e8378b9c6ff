#include "tools/half_hours/decimal.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace sonic::records {

namespace {

constexpr int FIRST_DIGITS = 9;
constexpr double MAX_VALUE = 1e9;  // in billionths it fits 64 bits

int64_t power_of_ten(int exponent) {
  int64_t power = 1;
  for (; exponent > 0; --exponent) power *= 10;
  return power;
}

// In units of the last digit.
int64_t rounded(double value, int digits) {
  const int64_t unit = power_of_ten(FIRST_DIGITS - digits);
  const int64_t sum = std::llround(value * 1e9) + unit / 2;
  return sum / unit - (sum % unit < 0 ? 1 : 0);
}

}  // namespace

std::string fixed_text(double value, int digits) {
  char text[352];
  if (!(std::abs(value) < MAX_VALUE)) {
    std::snprintf(text, sizeof(text), "%.*f", digits, value);
    return text;
  }
  const int64_t number = rounded(value, digits);
  const int64_t unit = power_of_ten(digits);
  const char* const sign = number < 0 ? "-" : "";
  const auto whole = static_cast<long long>(std::abs(number) / unit);
  const auto rest = static_cast<long long>(std::abs(number) % unit);
  if (digits == 0) {
    std::snprintf(text, sizeof(text), "%s%lld", sign, whole);
  } else {
    std::snprintf(text, sizeof(text), "%s%lld.%0*lld", sign, whole, digits, rest);
  }
  return text;
}

bool is_zero(double value, int digits) {
  return std::abs(value) < MAX_VALUE && rounded(value, digits) == 0;
}

}  // namespace sonic::records
