#include "ownhome.h"

#include "testsystem.h"

#include <boost/filesystem.hpp>

#include <fstream>
#include <iterator>

namespace {

namespace fs = boost::filesystem;

struct Home {
  Home() : path((fs::temp_directory_path() / fs::unique_path("ztutil-test-%%%%%%%%")).string()) {
    fs::create_directories(path);
    UseAsUserDirectory(path);
  }
  ~Home() {
    boost::system::error_code ignored;
    fs::remove_all(path, ignored);
  }

  const std::string path;
};

const Home gHome;

}  // namespace

const std::string& OwnHome() { return gHome.path; }

std::string WriteInHome(const std::string& name, const std::string& content) {
  const fs::path path = fs::path(OwnHome()) / name;
  fs::remove_all(path);
  std::ofstream(path.string(), std::ios::binary) << content;
  return path.string();
}

std::string ReadInHome(const std::string& name) {
  std::ifstream file((fs::path(OwnHome()) / name).string(), std::ios::binary);
  if (!file) return "missing";
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
