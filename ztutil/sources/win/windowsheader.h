// windows.h without the macros that hit names of ours. The sources of this folder include it through here.
#ifndef ZTUTIL_WINDOWSHEADER_H_
#define ZTUTIL_WINDOWSHEADER_H_

#include <windows.h>

#undef GetCurrentTime

#endif  // ZTUTIL_WINDOWSHEADER_H_
