// The runs that ../proberprocess.h doesn't have.
#ifndef OTHERRUNS_H_
#define OTHERRUNS_H_

#include "../proberprocess.h"

// The prober with nobody at the other end of its standard output; the outcome has none of that.
Outcome RunUnheardProber(const Texts& arguments);

// The path of a program that stands beside this one.
std::string Built(const std::string& program);

// prowl with the drivers of RunProber.
Outcome RunProwl(const Texts& arguments, const Environment& environment = Drivers(),
                 const std::string& program = Built("prowl.exe"));

#endif  // OTHERRUNS_H_
