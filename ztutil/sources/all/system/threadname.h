// The names of threads, as the log shows them.
#ifndef ZTUTIL_THREADNAME_H_
#define ZTUTIL_THREADNAME_H_

#include <string>

namespace ztutil {

// Names the calling thread, in debuggers too, cut to what the system has room for.
void NameCurrentThread(const std::string& name);

// The name of the calling thread. One without a name goes by its id, and one that gets the id of a dead
// thread by that one's name. The text is there until the thread ends or gets another name.
const std::string& CurrentThreadName();

}  // namespace ztutil

#endif  // ZTUTIL_THREADNAME_H_
