// Menus, each call with the failure of its system call as an exception. Only for sources that include
// windows.h.
#ifndef ZTUTIL_WINMENU_H_
#define ZTUTIL_WINMENU_H_

#include "windowsheader.h"

// windows.h has a macro of this name, which would make one of two functions of it.
#undef GetMenuItemInfo

namespace ztutil {

// Each is the system's function of its name, and throws XWinErr with that name when it fails. Handles and
// texts stay the caller's; a record's size must be set.
void GetMenuInfo(HMENU menu, MENUINFO& info);
int GetMenuItemCount(HMENU menu);
void GetMenuItemInfo(HMENU menu, UINT item, bool byPosition, MENUITEMINFOW& info);
void AppendMenuW(HMENU menu, UINT flags, UINT_PTR newItem, const wchar_t* text);

}  // namespace ztutil

#endif  // ZTUTIL_WINMENU_H_
