// The runs that ../proberprocess.h doesn't have.
#ifndef OTHERRUNS_H_
#define OTHERRUNS_H_

#include "../proberprocess.h"

// The prober with nobody at the other end of its standard output; the outcome has none of that.
Outcome RunUnheardProber(const Texts& arguments);

// prowl with the drivers of RunProber.
Outcome RunProwl(const Texts& arguments);

#endif  // OTHERRUNS_H_
