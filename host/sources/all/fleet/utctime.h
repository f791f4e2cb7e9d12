// The times of answers, such as "2026-11-22T05:29:05Z".
#ifndef GPUPROWLER_UTCTIME_H_
#define GPUPROWLER_UTCTIME_H_

#include <cstdint>
#include <optional>
#include <string>

namespace gpuprowler {

// Nothing where the text isn't such a time.

// Since 1970.
std::optional<std::int64_t> SecondsOf(const std::string& time);

// So much later.
std::optional<std::string> Later(const std::string& time, int days);

}  // namespace gpuprowler

#endif  // GPUPROWLER_UTCTIME_H_
