// An answer as a JSON document, both ways. AsJSON, in the public header, makes it; answer.schema.json
// describes it.
#ifndef GPUPROWLER_DOCUMENT_H_
#define GPUPROWLER_DOCUMENT_H_

#include <gpuprowler/answer.h>

#include <cstddef>
#include <optional>
#include <string>

namespace gpuprowler {

// No document is larger, whatever a prober has written. Where there is no room for all of an answer, each
// stream loses its first lines, and tells how many; then values, texts and GPUs are left out, and "shortened"
// is true.
constexpr std::size_t kMaxDocumentBytes = std::size_t{16} * 1024 * 1024;

// The same in one line and with all names as they are: for what only this user reads.
std::string AsPrivateJSON(const Answer& answer);

// The answer that such a document was made of, or nothing where the text isn't one: all keys must be there
// and no others, with the types and ranges of the answer's fields. Throws nothing but std::bad_alloc.
std::optional<Answer> AnswerOf(const std::string& document);

}  // namespace gpuprowler

#endif  // GPUPROWLER_DOCUMENT_H_
