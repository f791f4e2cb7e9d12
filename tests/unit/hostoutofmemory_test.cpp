// What a host in C gets when memory runs out, at whichever of a call's allocations.
#include "scarcememory.h"

#include <gpuprowler/gpuprowler.h>
#include <gtest/gtest.h>

#include <memory>

namespace {

template <class Thing>
using Owned = std::unique_ptr<Thing, void (*)(Thing*)>;

template <class Thing>
Owned<Thing> Own(Thing* thing, void (*release)(Thing*)) {
  return {thing, release};
}

// What it is while memory runs out, and then: '0' for a null or an empty text, otherwise '1'.
template <class Call>
std::string Gives(const Call& call) {
  const auto letter = [&] { return call() ? '1' : '0'; };
  const std::string scarce = Outcomes(letter);
  return scarce + letter();
}

TEST(OutOfMemory, GivesAHostNothingAndTheNextTimeAll) {
  const std::string longText(100, 't');
  int held[2];
  for (int& after : held) {
    const auto answer = Own(gpuprowler_ask(nullptr), gpuprowler_answer_free);
    EXPECT_EQ(Gives([&] { return *gpuprowler_text(answer.get()); }), "01");
    EXPECT_EQ(Gives([] { return Own(gpuprowler_request_new(), gpuprowler_request_free); }), "01");
    const auto rules = Own(gpuprowler_rules_new(), gpuprowler_rules_free);
    gpuprowler_rules_require(rules.get(), "GLVersion>=4");
    EXPECT_EQ(Gives([&] {
                return Own(gpuprowler_check(rules.get(), answer.get(), longText.c_str()),
                           gpuprowler_decision_free);
              }),
              "01");
    Own(gpuprowler_compare(answer.get(), answer.get()), gpuprowler_comparison_free);
    const auto request = Own(gpuprowler_request_new(), gpuprowler_request_free);
    gLeft = 0;
    gpuprowler_set_prober(request.get(), longText.c_str());
    EXPECT_STREQ(gpuprowler_sentence(Own(gpuprowler_ask(request.get()), gpuprowler_answer_free).get()),
                 "The prober could not start: there was no memory for the request");
    after = gHeld;
  }
  EXPECT_EQ(held[0], held[1]);
}

}  // namespace
