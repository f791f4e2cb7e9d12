// Which card and which driver stand behind a GPU of an answer.
#ifndef GPUPROWLER_ATTRIBUTION_H_
#define GPUPROWLER_ATTRIBUTION_H_

#include <gpuprowler/answer.h>

namespace gpuprowler {

// Sets each GPU's driver, adapter and software, by what its values, its run and the machine tell. A driver
// only where it was the only one of its interface in that run; an adapter only where exactly one fits.
void Attribute(Answer& answer);

}  // namespace gpuprowler

#endif  // GPUPROWLER_ATTRIBUTION_H_
