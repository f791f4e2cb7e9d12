// A run as a table: its lines, and between them the driver calls that were made for the line that follows.
#ifndef CALLTABLE_H_
#define CALLTABLE_H_

#include "proberprocess.h"

// A run in that environment, on drivers that answer each question with another number or text, so that an
// answer under another's key shows. What differs from run to run is left out: times, threads and this
// machine's memory. Calls for one line stand side by side, and those that a loop makes of event after event
// stand there once: "10 times {...}".
std::string CallTable(Environment environment, const Texts& arguments);

#endif  // CALLTABLE_H_
