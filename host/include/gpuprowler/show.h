// Answers made to be given away: pasted into a report of a bug, or opened in a browser.
//
// Neither holds a user name, home folder or host name of the machine that it is made on; a stored answer had
// those of its own machine taken out when it was written. What drivers have said stays in its place, whatever
// it looks like. The same answer gives the same bytes on every machine.
#ifndef GPUPROWLER_SHOW_H_
#define GPUPROWLER_SHOW_H_

#include <gpuprowler/answer.h>

#include <string>

namespace gpuprowler {

// Markdown that trackers take: verdict, what happened, GPUs, reasons, adapters and drivers, then folded up
// all values and what else was printed. Where that were more than 60,000 bytes it is shortened, and says so.
std::string AsMarkdown(const Answer& answer);

// One HTML page that needs nothing beside it: no script, no other file, no network. It is a few MiB at most:
// what is left out is counted.
std::string AsHTML(const Answer& answer);

}  // namespace gpuprowler

#endif  // GPUPROWLER_SHOW_H_
