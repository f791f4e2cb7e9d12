#include "winmenu.h"

#include <ztutil/winhandle.h>

namespace ztutil {

namespace {

void Require(bool succeeded, const char* what) {
  if (!succeeded) throw XWinErr(what, GetLastError());
}

}  // namespace

void GetMenuInfo(HMENU menu, MENUINFO& info) { Require(::GetMenuInfo(menu, &info), "GetMenuInfo"); }

int GetMenuItemCount(HMENU menu) {
  const int count = ::GetMenuItemCount(menu);
  Require(count != -1, "GetMenuItemCount");
  return count;
}

void GetMenuItemInfo(HMENU menu, UINT item, bool byPosition, MENUITEMINFOW& info) {
  Require(::GetMenuItemInfoW(menu, item, byPosition, &info), "GetMenuItemInfo");
}

void AppendMenuW(HMENU menu, UINT flags, UINT_PTR newItem, const wchar_t* text) {
  Require(::AppendMenuW(menu, flags, newItem, text), "AppendMenuW");
}

}  // namespace ztutil
