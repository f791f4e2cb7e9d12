/* May an application use this machine's GPUs, which ones, and if not, why? As answer.h, for C and for
   whatever can load a C library.

     gpuprowler_request* request = gpuprowler_request_new();
     gpuprowler_answer* answer = gpuprowler_ask(request);
     for (size_t gpu = 0; gpu < gpuprowler_gpu_count(answer); ++gpu) ...
     gpuprowler_answer_free(answer);
     gpuprowler_request_free(request);

   Texts are UTF-8 and end with a NUL, those that go in as those that come out. The library copies what it is
   given. Every function may be called with null pointers, and none fails otherwise than by what it returns.
 */
#ifndef GPUPROWLER_GPUPROWLER_H_
#define GPUPROWLER_GPUPROWLER_H_

#include <stddef.h>
#include <stdint.h>

#ifndef GPUPROWLER_EXPORTS /* is defined where the shared library is built */
#define GPUPROWLER_API
#elif defined(_WIN32)
#define GPUPROWLER_API __declspec(dllexport)
#else
#define GPUPROWLER_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The library's own, such as "0.2.0". */
GPUPROWLER_API const char* gpuprowler_version(void);

/* --- What is asked for
 * --------------------------------------------------------------------------------------- */

/* One thread at a time may change a request, and nobody asks with it meanwhile; several may ask with it at
   once. */
typedef struct gpuprowler_request gpuprowler_request;

/* To be given back by gpuprowler_request_free, which must wait until nobody asks with it. Null if there is no
   memory. */
GPUPROWLER_API gpuprowler_request* gpuprowler_request_new(void);
GPUPROWLER_API void gpuprowler_request_free(gpuprowler_request* request);

/* A path, or a name that is looked for on PATH. Without it the prober is the one beside this process's
   program, else that of PATH. */
GPUPROWLER_API void gpuprowler_set_prober(gpuprowler_request* request, const char* prober);

/* One more, behind those that it has. */
GPUPROWLER_API void gpuprowler_add_argument(gpuprowler_request* request, const char* argument);

/* What everything may take, above 0: 30 without it. */
GPUPROWLER_API void gpuprowler_set_seconds(gpuprowler_request* request, double seconds);

/* What one question may take, the measurements apart: 10 without it, 0 for no bound. */
GPUPROWLER_API void gpuprowler_set_question_seconds(gpuprowler_request* request, double seconds);

enum {
  GPUPROWLER_NO_MEASURE = 1, /* leaves out the measurements, which take most of the time */
  GPUPROWLER_NO_ISOLATE = 2, /* never asks each driver alone, also not where they end badly together */
  GPUPROWLER_FRESH = 4       /* takes no earlier answer, and asks what was set aside too */
};

/* A sum of the above: 0 without it. */
GPUPROWLER_API void gpuprowler_set_options(gpuprowler_request* request, unsigned options);

/* The folder where answers and drivers that misbehaved are remembered. Empty, and without it: the user's own.
   Null: nothing is remembered. */
GPUPROWLER_API void gpuprowler_set_memory(gpuprowler_request* request, const char* folder);

enum {
  GPUPROWLER_RUN_BEGINS, /* a run of the prober */
  GPUPROWLER_LINE,
  GPUPROWLER_QUESTION, /* another one is being asked */
  GPUPROWLER_TICK,     /* about ten times a second */
  GPUPROWLER_RUN_ENDS
};

/* What happens while gpuprowler_ask works. Later versions may add members behind these. */
typedef struct gpuprowler_event {
  int kind;
  size_t run;           /* counted from 0 */
  double seconds;       /* from the run's start */
  int is_output;        /* GPUPROWLER_LINE: 1 on standard output, 0 on standard error */
  const char* line;     /* GPUPROWLER_LINE: as long as the call; else null */
  const char* question; /* such as "glgpu[0].GLVersion", as long as the call; empty where there is none */
} gpuprowler_event;

/* Is called on the thread that asks, which waits for it. It throws nothing, and may call gpuprowler_cancel.
 */
typedef void (*gpuprowler_on_event)(void* context, const gpuprowler_event* event);

/* Null, and without it: nobody is called. */
GPUPROWLER_API void gpuprowler_set_event(gpuprowler_request* request, gpuprowler_on_event on_event,
                                         void* context);

/* --- Asking
 * ---------------------------------------------------------------------------------------------------- */

/* Nothing changes an answer; any thread may read it. It outlives its request. What its functions give belongs
   to it, and lasts as long as it does. A null answer can be read as any other: the prober didn't start, for
   there was no memory. */
typedef struct gpuprowler_answer gpuprowler_answer;

/* Returns a few seconds behind the request's at the latest. Any thread may call, several at once. The answer
   is to be given back by gpuprowler_answer_free. A null request, and one that has lost a setting for want of
   memory, start nothing. */
GPUPROWLER_API gpuprowler_answer* gpuprowler_ask(const gpuprowler_request* request);

/* What there is to see without opening a device or a driver, and without the prober: no GPUs. Takes a few
   milliseconds; else as gpuprowler_ask. */
GPUPROWLER_API gpuprowler_answer* gpuprowler_look(void);

/* Ends what is being asked with that request, and what will be. Any thread may call, at any time until
   gpuprowler_request_free. */
GPUPROWLER_API void gpuprowler_cancel(gpuprowler_request* request);

GPUPROWLER_API void gpuprowler_answer_free(gpuprowler_answer* answer);

/* --- What came of it
 * --------------------------------------------------------------------------------------------- */

enum {
  GPUPROWLER_FINISHED = 0,
  GPUPROWLER_LOST = 1,        /* the prober's end couldn't be seen */
  GPUPROWLER_FAILURES = 2,    /* it ended by itself and told of a failure */
  GPUPROWLER_ENDED_EARLY = 3, /* it ended by itself, and its report has no end */
  GPUPROWLER_CRASHED = 4,
  GPUPROWLER_HUNG = 5, /* it had to be killed, its time being up */
  GPUPROWLER_NOT_STARTED = 6,
  GPUPROWLER_INTERRUPTED = 7 /* cancelled */
};

/* Of the whole: a crash stays one, though the other drivers' GPUs are there. GPUPROWLER_NOT_STARTED of
   gpuprowler_look. */
GPUPROWLER_API int gpuprowler_verdict(const gpuprowler_answer* answer);

/* The verdict for a person, without a full stop; empty of gpuprowler_look. */
GPUPROWLER_API const char* gpuprowler_sentence(const gpuprowler_answer* answer);

/* Everything for a person, in lines, such as for a bug report; and as a JSON document, which
   answer.schema.json describes. Empty if there is no memory for it. */
GPUPROWLER_API const char* gpuprowler_text(const gpuprowler_answer* answer);
GPUPROWLER_API const char* gpuprowler_json(const gpuprowler_answer* answer);

/* 1 if it is an earlier answer of exactly this machine. */
GPUPROWLER_API int gpuprowler_remembered(const gpuprowler_answer* answer);

/* Why something that one would expect isn't there: a code for programs, such as "node-not-allowed", and a
   sentence for people. Reasons are counted from 0. Returns 1; 0 where there are no more, and changes nothing
   then. */
GPUPROWLER_API int gpuprowler_reason(const gpuprowler_answer* answer, size_t reason, const char** code,
                                     const char** text);

GPUPROWLER_API size_t gpuprowler_gpu_count(const gpuprowler_answer* answer);

/* What is known of a GPU, counted from 0, by a key of the document's: "glVersion", "glRenderer",
   "canCompileProgramGLSL", "clMemoryMB" ... They return 1; or 0, and change nothing, where it isn't known or
   is of another type. Every GPU has these besides:

     texts  "interface" ("OpenGL" or "OpenCL"), "tag" ("glgpu[0]");
            "driver" (what its loader knows it by) and "adapter" (its card's name), where they are known
     flags  "software" (no card stands behind it), "complete" (it was asked all, and has failed nothing) */
GPUPROWLER_API int gpuprowler_gpu_text(const gpuprowler_answer* answer, size_t gpu, const char* key,
                                       const char** value);
GPUPROWLER_API int gpuprowler_gpu_integer(const gpuprowler_answer* answer, size_t gpu, const char* key,
                                          int64_t* value);
/* 1 or 0. */
GPUPROWLER_API int gpuprowler_gpu_flag(const gpuprowler_answer* answer, size_t gpu, const char* key,
                                       int* value);
/* Takes an integer for a real too, and a text that is a number: the "glVersion" "4.1". */
GPUPROWLER_API int gpuprowler_gpu_real(const gpuprowler_answer* answer, size_t gpu, const char* key,
                                       double* value);

/* The answer of which gpuprowler_json has made that document; null if it isn't one. To be given back as any.
 */
GPUPROWLER_API gpuprowler_answer* gpuprowler_read(const char* document);

/* --- What it allows
 * ------------------------------------------------------------------------------------------------ */

/* Files of rules, in the format of Chromium's software rendering list, and requirements. One thread at a time
   may add to them, and nobody checks by them meanwhile; several may check by them at once. */
typedef struct gpuprowler_rules gpuprowler_rules;

/* To be given back by gpuprowler_rules_free. Null if there is no memory. */
GPUPROWLER_API gpuprowler_rules* gpuprowler_rules_new(void);
GPUPROWLER_API void gpuprowler_rules_free(gpuprowler_rules* rules);

/* The text of a file, whose name is for people; and what a GPU must meet, such as "GLVersion>=3.3". They
   return 1; or 0 where something is wrong, which gpuprowler_rules_error tells: an entry that is wrong has no
   effect, all others have. */
GPUPROWLER_API int gpuprowler_rules_add(gpuprowler_rules* rules, const char* name, const char* text);
GPUPROWLER_API int gpuprowler_rules_require(gpuprowler_rules* rules, const char* expression);

/* A sentence; as long as nothing is added. Errors are counted from 0. Returns 1; 0 where there are no more,
   and changes nothing then. */
GPUPROWLER_API int gpuprowler_rules_error(const gpuprowler_rules* rules, size_t error, const char** text);

/* What they make of an answer. Nothing changes it; it needs neither any longer. */
typedef struct gpuprowler_decision gpuprowler_decision;

/* About one feature; null: about all that the rules name. To be given back by gpuprowler_decision_free. Null
   if there is no memory, no rules or no answer. */
GPUPROWLER_API gpuprowler_decision* gpuprowler_check(const gpuprowler_rules* rules,
                                                     const gpuprowler_answer* answer, const char* feature);
GPUPROWLER_API void gpuprowler_decision_free(gpuprowler_decision* decision);

enum {
  GPUPROWLER_ALLOWED = 0,
  GPUPROWLER_WARNED = 1, /* an entry that may apply can't be decided by this answer, or one only warns */
  GPUPROWLER_BLOCKED = 2 /* an entry applies, or no GPU meets the requirements */
};

/* The worst of the features and of the requirements. Of a null decision GPUPROWLER_WARNED. */
GPUPROWLER_API int gpuprowler_decision_outcome(const gpuprowler_decision* decision);

/* What the entries that it comes of would have the user told; empty where an entry has no message. Entries
   are counted from 0. Returns 1; 0 where there are no more, and changes nothing then. */
GPUPROWLER_API int gpuprowler_decision_message(const gpuprowler_decision* decision, size_t entry,
                                               const char** message);

/* For a person, in lines; and as a JSON document. Empty of a null decision. */
GPUPROWLER_API const char* gpuprowler_decision_text(const gpuprowler_decision* decision);
GPUPROWLER_API const char* gpuprowler_decision_json(const gpuprowler_decision* decision);

/* --- Comparing
 * ------------------------------------------------------------------------------------------------- */

/* How two answers differ, mostly of one machine: what an update of a driver has cost, and what it has
   brought. It needs neither any longer; any thread may read it. What its functions give belongs to it. */
typedef struct gpuprowler_comparison gpuprowler_comparison;

/* To be given back by gpuprowler_comparison_free. Null if there is no memory, or an answer is null. */
GPUPROWLER_API gpuprowler_comparison* gpuprowler_compare(const gpuprowler_answer* before,
                                                         const gpuprowler_answer* after);
GPUPROWLER_API void gpuprowler_comparison_free(gpuprowler_comparison* comparison);

/* 1 if something was lost: a GPU, an extension, a limit that was higher ... */
GPUPROWLER_API int gpuprowler_comparison_lost(const gpuprowler_comparison* comparison);

/* For a person, in lines; and as a JSON document. Empty of a null comparison. */
GPUPROWLER_API const char* gpuprowler_comparison_text(const gpuprowler_comparison* comparison);
GPUPROWLER_API const char* gpuprowler_comparison_json(const gpuprowler_comparison* comparison);

/* --- The memory
 * ---------------------------------------------------------------------------------------------------- */

/* Forgets all answers, and of the drivers that were set aside those whose manifest contains that text; null
   and empty: all of them. Returns how many drivers these were. The folder is that of gpuprowler_set_memory;
   null and empty: the user's own. */
GPUPROWLER_API size_t gpuprowler_forget(const char* folder, const char* driver);

#ifdef __cplusplus
}
#endif

#endif /* GPUPROWLER_GPUPROWLER_H_ */
