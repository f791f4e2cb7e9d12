// What Windows' registry says of devices, taken apart. Any text may come in; what isn't there is 0 or empty.
#ifndef GPUPROWLER_REGISTRYTEXT_H_
#define GPUPROWLER_REGISTRYTEXT_H_

#include <gpuprowler/answer.h>

#include <string>

namespace gpuprowler {

// Sets the ids by a hardware id, "PCI\VEN_10DE&DEV_2206&SUBSYS_38971462&REV_A1".
void SetIDs(Adapter& adapter, const std::string& hardwareID);

// A date with the month first, "6-8-2023", as "2023-06-08".
std::string ISODate(const std::string& date);

// The file that a driver's library is: the system's folder is that of names without one, and those without an
// extension have ".dll".
std::string LibraryFile(const std::string& library, const std::string& systemFolder);

}  // namespace gpuprowler

#endif  // GPUPROWLER_REGISTRYTEXT_H_
