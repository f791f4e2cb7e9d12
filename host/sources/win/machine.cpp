#include "look/machine.h"

namespace gpuprowler {

Machine LookAtMachine() { return {}; }

}  // namespace gpuprowler
