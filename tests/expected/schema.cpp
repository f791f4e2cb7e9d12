#include "schema.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

class Documents : public testing::Environment {
 public:
  void TearDown() override {
    if (lines.empty()) return;
    std::FILE* const validator = popen("'" EXPECTED_FOLDER "/fitsschema'", "w");
    std::fputs(lines.c_str(), validator);
    EXPECT_EQ(pclose(validator), 0);
  }

  std::string lines;
};

auto* const gDocuments = static_cast<Documents*>(testing::AddGlobalTestEnvironment(new Documents));

}  // namespace

void ExpectFitsSchema(const nlohmann::json& document) { gDocuments->lines += document.dump() + "\n"; }
