// For the start of a program that asks drivers, or reads what somebody else has started: makes sure that what
// goes wrong around it ends as an error that it sees.
#ifndef ZTUTIL_PREPAREPROCESS_H_
#define ZTUTIL_PREPAREPROCESS_H_

namespace ztutil::platform {

// Readies a process that may die in a driver and whose standard streams may be gone. A crash ends it at once,
// with no core file, and neither that nor a library that can't be loaded opens a dialog. A write to a closed
// pipe, or beyond the size that a file may have, fails instead of ending the process. And a standard stream
// that was closed when the process began fails at each use, where it would otherwise become the next file
// that a driver opens. On Linux, the prober's lines keep to what standard output is now, also when a driver
// closes it and opens a file in its place. To be called at the start of main, by a program and not by a
// library: all of this holds for the whole process.
void PrepareProberProcess();

}  // namespace ztutil::platform

#endif  // ZTUTIL_PREPAREPROCESS_H_
