#include "utctime.h"

#include <boost/date_time/posix_time/posix_time.hpp>

#include <algorithm>
#include <stdexcept>

namespace gpuprowler {

namespace {

namespace posix = boost::posix_time;

bool HasForm(const std::string& time) {
  const std::string form = "0000-00-00T00:00:00Z";
  return std::equal(time.begin(), time.end(), form.begin(), form.end(),
                    [](char c, char formed) { return formed == '0' ? '0' <= c && c <= '9' : c == formed; });
}

std::optional<posix::ptime> Parse(const std::string& time) try {
  if (!HasForm(time)) return std::nullopt;
  return posix::from_iso_extended_string(time.substr(0, time.size() - 1));
} catch (const std::out_of_range&) {
  return std::nullopt;
}

}  // namespace

std::optional<std::int64_t> SecondsOf(const std::string& time) {
  const auto parsed = Parse(time);
  if (!parsed) return std::nullopt;
  return (*parsed - posix::ptime({1970, 1, 1})).total_seconds();
}

std::optional<std::string> Later(const std::string& time, int days) try {
  const auto parsed = Parse(time);
  if (!parsed) return std::nullopt;
  return posix::to_iso_extended_string(*parsed + boost::gregorian::days(days)) + "Z";
} catch (const std::out_of_range&) {  // there is no year 10000
  return std::nullopt;
}

}  // namespace gpuprowler
