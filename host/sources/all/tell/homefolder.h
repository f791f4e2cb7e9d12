// The user's home folder, which is nobody else's business.
#ifndef GPUPROWLER_HOMEFOLDER_H_
#define GPUPROWLER_HOMEFOLDER_H_

#include <string>
#include <vector>

namespace gpuprowler {

// By all the names that this process can know it by, without a slash behind. Each platform's folder defines
// it.
std::vector<std::string> HomeFolders();

// The text with "~" wherever one of these stands in it, in small letters or capitals, with slashes of either
// kind; "/home/ann" doesn't stand in "/home/anna". Relative ones, and the root, are passed over.
std::string WithoutHome(std::string text, const std::vector<std::string>& homes);

}  // namespace gpuprowler

#endif  // GPUPROWLER_HOMEFOLDER_H_
