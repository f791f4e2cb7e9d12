// Wide text, by which programs and paths are named, and the bytes that a system of bytes knows them by.
#ifndef ZTUTIL_WIDETEXT_H_
#define ZTUTIL_WIDETEXT_H_

#include <string>
#include <string_view>

namespace ztutil {

// UTF-8 in whatever locale. A byte that isn't part of a character becomes the low surrogate U+DC00 + byte, so
// that UTF8FromWide gives every text of bytes back as it was.
std::wstring WideFromUTF8(std::string_view bytes);

// U+DC80 to U+DCFF become bytes again, and pairs of surrogates their character where wide characters have 16
// bits. Whatever else isn't a character becomes U+FFFD.
std::string UTF8FromWide(std::wstring_view text);

}  // namespace ztutil

#endif  // ZTUTIL_WIDETEXT_H_
