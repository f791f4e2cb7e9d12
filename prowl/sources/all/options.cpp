#include "options.h"

#include "hostplatform.h"

#include <ztutil/version.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace prowl {

namespace {

constexpr char kDescription[] =
    "Asks this machine's graphics drivers, and tells what was found and how it ended.\n"
    "What stands behind -- goes to the prober.";
constexpr char kStatuses[] =
    "Exit status: 0 the prober finished, 2 it finished with failures, 3 it ended early,\n"
    "4 it crashed, 5 it hung and was killed, 6 it could not start, 7 it was interrupted;\n"
    "1 prowl itself failed.";

constexpr char kCheckStatuses[] =
    "--from takes a stored answer, as do all options of asking a new one.\n"
    "Exit status: 0 all is allowed, 8 something is blocked, 9 nothing is, but something is warned of,\n"
    "10 something is wrong with the rules, and the others block nothing; 1 prowl itself failed,\n"
    "7 it was interrupted.";

constexpr char kAsk[] = "ask";
constexpr char kCommands[] = "Commands, each with its own --help";
constexpr char kAsking[] = "Asking";
constexpr char kTelling[] = "Telling";

constexpr double kDefaultSeconds = 60;
constexpr double kMaxSeconds = 1e6;

// Leaves the options of asking to the help of ask, so that the whole fits on a screen.
class Help : public CLI::Formatter {
 public:
  Help() {
    constexpr std::size_t kColumns = 32;
    column_width(kColumns);
    label("SUBCOMMAND", "COMMAND");
  }

  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
    if (app->get_name() == kAsk) {
      const CLI::App* const all = app->get_parent();
      const auto asking =
          all->get_options([](const CLI::Option* option) { return option->get_group() == kAsking; });
      return make_description(app) + make_usage(app, name) + Formatter::make_group(kAsking, false, asking) +
             "\n" + make_footer(all);
    }
    std::string help = Formatter::make_help(app, name, mode);
    for (std::size_t gap; (gap = help.find("\n\n\n")) != std::string::npos;) help.erase(gap, 1);
    return help;
  }

  std::string make_group(std::string group, bool isPositional,
                         std::vector<const CLI::Option*> options) const override {
    return group == kAsking ? "" : Formatter::make_group(group, isPositional, options);
  }
};

// CLI11's own rules would stand in the help text, at each option.
void Refuse(const CLI::Option* option, const CLI::Option* other) {
  if (*option && *other) throw CLI::ExcludesError(option->get_name(), other->get_name());
}

void Refuse(const CLI::App* verb, std::initializer_list<CLI::Option*> options) {
  for (const CLI::Option* const option : options)
    if (*verb && *option) throw CLI::ExcludesError(verb->get_name(), option->get_name());
}

}  // namespace

Options ParseOptions(CLI::App& app, int argc, char** argv) {
  Options options;
  gpuprowler::Request& request = options.request;
  request.seconds = kDefaultSeconds;
  // A file's name may begin with a slash.
  app.description(kDescription)->formatter(std::make_shared<Help>())->allow_windows_style_options(false);
  app.set_version_flag("--version", std::string("prowl ") + ztutil::kVersion);

  CLI::Option* const from =
      app.add_option("--from", options.from, "Take the answer that a document of --json holds; ask nothing")
          ->type_name("FILE");
  CLI::Option* const prober =
      app.add_option("--prober", request.prober, "A path, or a name to look for on PATH, of another prober")
          ->type_name("PATH");
  CLI::Option* const timeout =
      app.add_option("--timeout", request.seconds, "What everything may take before it is ended")
          ->type_name("SECONDS")
          ->capture_default_str();
  CLI::Option* const question =
      app.add_option("--question-timeout", request.questionSeconds, "What a question may take; 0: no bound")
          ->type_name("SECONDS")
          ->capture_default_str();
  CLI::Option* const noMeasure =
      app.add_flag("--no-measure", "Leave out the measurements, which take longest");
  CLI::Option* const noIsolate = app.add_flag("--no-isolate", "Don't ask each driver alone behind a bad end");
  CLI::Option* const remember =
      app.add_flag("--remember", "Give an earlier answer if nothing has changed; keep it");
  CLI::Option* const fresh =
      app.add_flag("--fresh", "Ask anew all the same, and drivers that were set aside too");
  const auto asking = {prober, timeout, question, noMeasure, noIsolate, remember, fresh};
  from->group(kAsking);
  for (CLI::Option* const option : asking) option->group(kAsking);

  CLI::Option* const all = app.add_flag("--all", "All that was found, as a bug report needs it");
  CLI::Option* const json = app.add_flag("--json", "One JSON document");
  CLI::Option* const markdown = app.add_flag("--markdown", "The whole, to be pasted into a report of a bug");
  CLI::Option* const html =
      app.add_option("--html", options.html, "Write a page for browsers, and tell nothing else")
          ->type_name("FILE");
  CLI::Option* const events =
      app.add_flag("--events", "Lines of JSON as it goes on, the document in the last");
  CLI::Option* const raw =
      app.add_flag("--raw", "The report byte for byte; the verdict goes to standard error");
  CLI::Option* const prometheus = app.add_option("--prometheus", options.prometheus,
                                                 "Write metrics for Prometheus, and tell nothing else")
                                      ->type_name("FILE");
  CLI::Option* const nfd =
      app.add_option("--nfd", options.nfd, "Write labels for Kubernetes' node feature discovery likewise")
          ->type_name("FILE");
  for (CLI::Option* const option : {all, json, markdown, html, events, raw, prometheus, nfd})
    option->group(kTelling);

  CLI::App* const ask =
      app.add_subcommand(kAsk, "Ask the drivers, as without a command: ask --help tells how");
  CLI::App* const look = app.add_subcommand("look", "Tell of adapters and drivers, and load none of these");
  CLI::App* const check =
      app.add_subcommand("check", "Decide by files of rules, or requirements, what is allowed");
  check->footer(kCheckStatuses);
  CLI::Option* const rules =
      check->add_option("RULES", options.rules, "Files in the format of Chromium's software rendering list");
  CLI::Option* const require =
      check->add_option("--require", options.requirements, "What a GPU must meet, such as GLVersion>=3.3")
          ->type_name("EXPRESSION")
          ->allow_extra_args(false);
  check
      ->add_option("--feature", options.features,
                   "Decide about this one; without it about all that rules name")
      ->type_name("NAME")
      ->allow_extra_args(false);
  CLI::App* const diff = app.add_subcommand("diff", "Tell what was lost and won between two answers");
  diff->add_option("BEFORE", options.before, "A document of --json")->required();
  diff->add_option("AFTER", options.after, "Another one; without it the drivers are asked");
  CLI::Option* const noise =
      diff->add_option("--noise", options.noise, "The factor up to which measurements are taken for equal")
          ->type_name("FACTOR")
          ->capture_default_str();
  diff->footer("Exit status: 0 nothing was lost, 1 something was, 2 the two couldn't be compared.");
  CLI::App* const memory = app.add_subcommand("memory", "Show which drivers are set aside");
  CLI::App* const forget =
      app.add_subcommand("forget", "Forget all answers, and drivers that were set aside");
  forget->add_option("DRIVER", options.driver, "Part of the name of those; without it all of them");
  for (CLI::App* const verb : {ask, look, check, diff, memory, forget}) verb->fallthrough()->group(kCommands);
  app.require_subcommand(0, 1)->footer(kStatuses);

  char** const end = argv + argc;
  char** const mark = std::find(argv, end, std::string("--"));
  if (mark != end) request.arguments.assign(mark + 1, end);
  app.parse(static_cast<int>(mark - argv), argv);
  if (!(request.seconds > 0 && request.seconds <= kMaxSeconds))
    throw CLI::ValidationError("--timeout", "takes a number of seconds above 0, a million at most");
  if (!(request.questionSeconds >= 0 && request.questionSeconds <= kMaxSeconds))
    throw CLI::ValidationError("--question-timeout", "takes a number of seconds, a million at most");
  if (!(options.noise >= 1)) throw CLI::ValidationError(noise->get_name(), "takes a factor of at least 1");

  for (const CLI::Option* const form : {all, json, markdown, events})
    for (const CLI::Option* const other : {json, markdown, events, raw})
      if (form != other) Refuse(form, other);
  Refuse(raw, remember);
  for (const CLI::Option* const option : asking) Refuse(from, option);
  for (const CLI::Option* const form : {events, raw})
    for (const CLI::Option* const other : {from, html, prometheus, nfd}) Refuse(other, form);
  if (*fresh && !*remember) throw CLI::RequiresError(fresh->get_name(), remember->get_name());
  for (const CLI::App* const verb : {look, diff, memory, forget}) {
    if (verb != diff || !options.after.empty()) Refuse(verb, asking);
    Refuse(verb, {from, all, events, raw, prometheus, nfd});
  }
  for (const CLI::App* const verb : {diff, memory, forget}) Refuse(verb, {markdown, html});
  for (const CLI::App* const verb : {memory, forget}) Refuse(verb, {json});
  Refuse(check, {all, markdown, html, events, raw, prometheus, nfd});
  if (*check && rules->empty() && require->empty()) throw CLI::RequiredError("RULES or --require");

  for (std::string* const path : {&options.from, &options.html, &options.prometheus, &options.nfd,
                                  &options.before, &options.after, &request.prober})
    *path = platform::UTF8FromArgument(*path);
  for (auto* const texts : {&options.rules, &options.requirements, &options.features})
    for (std::string& text : *texts) text = platform::UTF8FromArgument(text);
  request.measure = noMeasure->empty();
  request.isolate = noIsolate->empty() && raw->empty();  // which has the bytes of one run
  request.remember = !remember->empty();
  request.fresh = !fresh->empty();
  if (*raw && question->empty()) request.questionSeconds = 0;  // a slow reader is no hang
  options.verb = *look     ? Verb::kLook
                 : *check  ? Verb::kCheck
                 : *diff   ? Verb::kDiff
                 : *memory ? Verb::kMemory
                 : *forget ? Verb::kForget
                           : Verb::kAsk;
  options.form = *all        ? Form::kAll
                 : *json     ? Form::kJSON
                 : *markdown ? Form::kMarkdown
                 : *events   ? Form::kEvents
                 : *raw      ? Form::kRaw
                             : Form::kText;
  return options;
}

}  // namespace prowl
