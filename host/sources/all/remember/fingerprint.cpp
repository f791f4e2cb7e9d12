#include "fingerprint.h"

namespace gpuprowler {

std::string FingerprintOf(const Machine&, const Request&, const std::string&) { return ""; }

std::string FingerprintOf(const Machine&, const Driver&) { return ""; }

}  // namespace gpuprowler
