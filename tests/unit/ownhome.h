// A home directory of the test program's own, so that no developer's settings are read and no log is touched.
// Linked into a program, it is in force before main.
#ifndef OWNHOME_H_
#define OWNHOME_H_

#include <string>

// The directory, which is removed when the program ends.
const std::string& OwnHome();

// Makes a file of that name in it, in place of whatever has that name, and gives its path.
std::string WriteInHome(const std::string& name, const std::string& content);

// The content of the file of that name in it; "missing" where there is none.
std::string ReadInHome(const std::string& name);

#endif  // OWNHOME_H_
