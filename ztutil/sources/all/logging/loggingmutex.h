// The lock behind flags and loggers.
#ifndef ZTUTIL_LOGGINGMUTEX_H_
#define ZTUTIL_LOGGINGMUTEX_H_

#include <boost/thread/recursive_mutex.hpp>

namespace ztutil {

// Guards what loggers know, the order of their writes, and the registry of flags. Never destroyed. Taken
// after the lock of the stack of loggers and before that of the thread names.
boost::recursive_mutex& LoggingMutex();

}  // namespace ztutil

#endif  // ZTUTIL_LOGGINGMUTEX_H_
