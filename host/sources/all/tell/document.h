// An answer as a JSON document. AsJSON and AnswerOf, in the public header, make and read it;
// answer.schema.json describes it.
#ifndef GPUPROWLER_DOCUMENT_H_
#define GPUPROWLER_DOCUMENT_H_

#include <gpuprowler/answer.h>

#include <string>

namespace gpuprowler {

// The same in one line and with all names as they are: for what only this user reads.
std::string AsPrivateJSON(const Answer& answer);

}  // namespace gpuprowler

#endif  // GPUPROWLER_DOCUMENT_H_
