#include "system/platform.h"

#include "../ownhome.h"

#include <ztutil/prepareprocess.h>

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>

namespace {

TEST(UserDirectory, IsTheCurrentOneWithoutADesktop) {
  _putenv_s("TEST_PROFILE", (OwnHome() + "\\nowhere").c_str());
  EXPECT_EQ(ztutil::platform::UserDirectory(), "");
  _putenv_s("TEST_PROFILE", OwnHome().c_str());
  EXPECT_EQ(ztutil::platform::UserDirectory(), OwnHome());
}

TEST(ProberProcess, FailsWithoutADialogAndKeepsTheModeBesides) {
  const UINT former = SetErrorMode(SEM_NOOPENFILEERRORBOX);
  ztutil::platform::PrepareProberProcess();
  EXPECT_EQ(SetErrorMode(former),
            UINT{SEM_NOOPENFILEERRORBOX | SEM_NOGPFAULTERRORBOX | SEM_FAILCRITICALERRORS});
}

}  // namespace
