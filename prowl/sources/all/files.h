// Files that the command line names: "-" is standard input.
#ifndef PROWL_FILES_H_
#define PROWL_FILES_H_

#include <gpuprowler/answer.h>

#include <string>

namespace prowl {

// The answer that the file's document holds. Throws std::runtime_error, which names the file.
gpuprowler::Answer ReadAnswer(const std::string& file);

// Writes the file so that others see it as it was or whole: a hidden file beside it takes its place. What
// isn't a regular file, such as a pipe, is written to as it stands. Throws std::runtime_error, which names
// the file.
void ReplaceFile(const std::string& file, const std::string& text);

}  // namespace prowl

#endif  // PROWL_FILES_H_
