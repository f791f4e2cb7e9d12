// A file of settings: a line `name=number` each.
#ifndef ZTUTIL_SETTINGSFILE_H_
#define ZTUTIL_SETTINGSFILE_H_

#include <cstdint>
#include <functional>
#include <string>

namespace ztutil {

using AcceptSetting = std::function<void(const std::string& name, std::int32_t value)>;

// Gives the settings of the file in their order. One that can't be read has none.
void ReadSettings(const std::string& path, const AcceptSetting& accept);

// The setting of a line, which comes without its line end; false if it has none. A line has none that begins
// with "#", or has no "=", or nothing before or behind the first "=". Nothing is trimmed; a NUL ends the
// name. The number is C's, with 0x and 0 in front for other bases; what follows it is ignored, no number is
// 0, and one out of range is cut to the range.
bool ParseSetting(const std::string& line, std::string& name, std::int32_t& value);

}  // namespace ztutil

#endif  // ZTUTIL_SETTINGSFILE_H_
