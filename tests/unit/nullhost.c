/* A host in C99 that has nothing but null pointers. */
#include <gpuprowler/gpuprowler.h>
#include <string.h>

#define EXPECT(condition) \
  if (!(condition)) return __LINE__

/* Calls everything. The line of the first answer that isn't as the header says, 0 if all are. */
int AskWithNulls(void) {
  const char* text = "kept";
  int64_t integer = 7;
  double real = 7;
  int flag = 7;

  gpuprowler_request_free(NULL);
  gpuprowler_set_prober(NULL, "x");
  gpuprowler_add_argument(NULL, "x");
  gpuprowler_set_seconds(NULL, 1);
  gpuprowler_set_question_seconds(NULL, 1);
  gpuprowler_set_options(NULL, GPUPROWLER_FRESH);
  gpuprowler_set_memory(NULL, NULL);
  gpuprowler_set_event(NULL, NULL, NULL);
  gpuprowler_cancel(NULL);
  gpuprowler_answer_free(NULL);
  EXPECT(gpuprowler_verdict(NULL) == GPUPROWLER_NOT_STARTED);
  EXPECT(strcmp(gpuprowler_sentence(NULL), "The prober could not start: there was no memory") == 0);
  EXPECT(*gpuprowler_text(NULL) == '\0' && *gpuprowler_json(NULL) == '\0');
  EXPECT(!gpuprowler_remembered(NULL) && gpuprowler_gpu_count(NULL) == 0);
  EXPECT(!gpuprowler_reason(NULL, 0, &text, &text));
  EXPECT(!gpuprowler_gpu_text(NULL, 0, "tag", &text) && strcmp(text, "kept") == 0);
  EXPECT(!gpuprowler_gpu_integer(NULL, 0, "x", &integer) && integer == 7);
  EXPECT(!gpuprowler_gpu_real(NULL, 0, "x", &real) && real > 6);
  EXPECT(!gpuprowler_gpu_flag(NULL, 0, "software", &flag) && flag == 7);

  EXPECT(!gpuprowler_compare(NULL, NULL) && !gpuprowler_comparison_lost(NULL));
  EXPECT(*gpuprowler_comparison_text(NULL) == '\0' && *gpuprowler_comparison_json(NULL) == '\0');
  gpuprowler_comparison_free(NULL);

  gpuprowler_answer* answer = gpuprowler_ask(NULL);
  EXPECT(strcmp(gpuprowler_sentence(answer), "The prober could not start: there is no request") == 0);
  EXPECT(strstr(gpuprowler_text(answer), gpuprowler_sentence(answer)) == gpuprowler_text(answer));
  gpuprowler_answer_free(answer);

  answer = gpuprowler_look();
  EXPECT(gpuprowler_gpu_count(answer) == 0 && *gpuprowler_json(answer) == '{');
  gpuprowler_reason(answer, 0, NULL, NULL);
  gpuprowler_answer_free(answer);

  gpuprowler_rules* rules = gpuprowler_rules_new();
  EXPECT(!gpuprowler_rules_add(NULL, "x", "x") && !gpuprowler_rules_require(NULL, "x"));
  EXPECT(!gpuprowler_rules_add(rules, NULL, NULL) && !gpuprowler_rules_require(rules, NULL));
  EXPECT(!gpuprowler_rules_error(NULL, 0, &text) && gpuprowler_rules_error(rules, 0, NULL));
  EXPECT(!gpuprowler_read(NULL) && !gpuprowler_check(rules, NULL, NULL) &&
         !gpuprowler_check(NULL, NULL, NULL));
  EXPECT(gpuprowler_decision_outcome(NULL) == GPUPROWLER_WARNED && *gpuprowler_decision_text(NULL) == '\0');
  EXPECT(!gpuprowler_decision_message(NULL, 0, &text) && *gpuprowler_decision_json(NULL) == '\0');
  gpuprowler_decision_free(NULL);
  gpuprowler_rules_free(rules);
  gpuprowler_rules_free(NULL);

  gpuprowler_request* request = gpuprowler_request_new();
  gpuprowler_add_argument(request, NULL);
  gpuprowler_set_event(request, NULL, &flag);
  gpuprowler_set_memory(request, NULL);
  gpuprowler_set_prober(request, "/none/gpuprowler");
  answer = gpuprowler_ask(request);
  gpuprowler_request_free(request);
  EXPECT(gpuprowler_verdict(answer) == GPUPROWLER_NOT_STARTED);
  gpuprowler_answer_free(answer);
  return 0;
}
