// Who uses this machine, and what it's called: nobody else's business.
#ifndef GPUPROWLER_PRIVACY_H_
#define GPUPROWLER_PRIVACY_H_

#include <gpuprowler/answer.h>

#include <string>
#include <vector>

namespace gpuprowler {

// By all the names that this process can know them by.
struct OwnNames {
  std::vector<std::string> homes;  // folders, without a slash behind
  std::vector<std::string> users;
  std::vector<std::string> hosts;  // a name with its domain before the one without
};

// Each platform's folder defines it.
OwnNames GetOwnNames();

// The same without these, in all texts but keys. Capitals and small letters are the same, and so are both
// kinds of slash.
//
// A home folder becomes "~"; "/home/ann" doesn't stand in "/home/anna". Relative ones, and the root, are
// passed over. As whole words a user becomes "USER" and a host "HOST". But for a name that a text can have by
// chance, of one or two characters, without a letter, or a usual word such as "root" and "mesa", that is so
// only where it must be meant: behind "home/", "users/", "media/", "@" and "//", and in front of "@".
Answer WithoutNames(Answer answer, const OwnNames& names);

}  // namespace gpuprowler

#endif  // GPUPROWLER_PRIVACY_H_
