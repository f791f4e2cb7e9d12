#include "winmenu.h"

#include "../outcome.h"

#include <gtest/gtest.h>

namespace {

TEST(WinMenu, CallsSucceedOrThrowTheirName) {
  HMENU const menu = CreateMenu();
  ztutil::AppendMenuW(menu, MF_STRING, 7, L"text");
  EXPECT_EQ(ztutil::GetMenuItemCount(menu), 1);
  MENUITEMINFOW item{};
  item.cbSize = sizeof item;
  item.fMask = MIIM_ID;
  ztutil::GetMenuItemInfo(menu, 0, true, item);
  EXPECT_EQ(item.wID, 7u);
  DestroyMenu(menu);
  // Wine leaves the code alone or has another one, and so another text.
  SetLastError(ERROR_INVALID_MENU_HANDLE);
  EXPECT_EQ(Outcome([&] { ztutil::GetMenuItemCount(menu); }).find("other: GetMenuItemCount failed: "), 0u);
  MENUINFO info{};
  EXPECT_EQ(Outcome([&] { ztutil::GetMenuInfo(menu, info); }).find("other: GetMenuInfo failed: "), 0u);
}

}  // namespace
