#include "logging/loggingmutex.h"

namespace ztutil {

boost::recursive_mutex& LoggingMutex() {
  static auto* const mutex = new boost::recursive_mutex;
  return *mutex;
}

}  // namespace ztutil
