// What prowl's command line asks for.
#ifndef PROWL_OPTIONS_H_
#define PROWL_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <gpuprowler/answer.h>
#include <gpuprowler/compare.h>

#include <string>
#include <vector>

namespace prowl {

enum class Verb { kAsk, kLook, kCheck, kDiff, kMemory, kForget };
enum class Form { kText, kAll, kJSON, kMarkdown, kEvents, kRaw };

struct Options {
  Verb verb = Verb::kAsk;
  Form form = Form::kText;
  std::string from;                   // the file of an answer to be told, "-" is standard input; empty: ask
  std::string html, prometheus, nfd;  // files to be written; empty: none
  double noise = gpuprowler::kMeasurementNoise;  // of measurements that are compared
  std::string before, after;                     // files of answers to be compared; the second is empty: ask
  gpuprowler::Request request;
  std::string driver;  // to be forgotten

  // What an answer is checked by.
  std::vector<std::string> rules;         // files
  std::vector<std::string> requirements;  // "GLVersion>=3.3"
  std::vector<std::string> features;      // empty: all
};

// Throws CLI::Error, also for the help text. What stands behind "--" is the prober's.
Options ParseOptions(CLI::App& app, int argc, char** argv);

}  // namespace prowl

#endif  // PROWL_OPTIONS_H_
