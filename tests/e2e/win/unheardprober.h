// A prober that nobody listens to.
#ifndef UNHEARDPROBER_H_
#define UNHEARDPROBER_H_

#include "../proberprocess.h"

// Runs it on Drivers(), with a standard output that is a pipe which nobody reads.
Outcome RunUnheardProber(const Texts& arguments);

#endif  // UNHEARDPROBER_H_
