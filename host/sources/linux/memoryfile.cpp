#include "remember/memoryfile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

namespace gpuprowler::platform {

namespace {

constexpr char kFile[] = "memory.json";
constexpr char kNewFile[] = "memory.json.new";
constexpr char kLock[] = "memory.lock";

constexpr int kSafely = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : fDescriptor(descriptor) {}
  ~Descriptor() {
    if (fDescriptor != -1) close(fDescriptor);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Get() const { return fDescriptor; }

  // Whether it's open, of that type, and this user's.
  bool IsOwn(mode_t type) const {
    struct stat status {};
    return fstat(fDescriptor, &status) == 0 && (status.st_mode & S_IFMT) == type &&
           status.st_uid == geteuid();
  }

 private:
  const int fDescriptor;
};

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

int OpenFolder(const std::string& folder) { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | kSafely); }

// An administrator who runs a program in a user's name leaves no folder there that the user can't write to.
bool MayMakeIn(const std::string& parent) {
  struct stat status {};
  return geteuid() != 0 || (stat(parent.c_str(), &status) == 0 && status.st_uid == 0);
}

// With those above it.
void MakeFolder(const std::string& folder) {
  if (access(folder.c_str(), F_OK) == 0 || errno != ENOENT) return;
  const std::size_t slash = folder.rfind('/');
  const std::string parent =
      slash == std::string::npos ? "." : folder.substr(0, std::max<std::size_t>(slash, 1));
  MakeFolder(parent);
  if (MayMakeIn(parent)) mkdir(folder.c_str(), S_IRWXU);
}

std::string ReadFrom(const Descriptor& folder, std::size_t mostBytes) {
  const Descriptor file(openat(folder.Get(), kFile, O_RDONLY | kSafely));
  struct stat status {};
  if (!file.IsOwn(S_IFREG) || fstat(file.Get(), &status) != 0 ||
      static_cast<std::uint64_t>(status.st_size) > mostBytes)
    return "";
  std::string content(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t done = 0;
  while (done < content.size()) {
    const ssize_t count = read(file.Get(), content.data() + done, content.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return "";
    done += static_cast<std::size_t>(count);
  }
  return content;
}

// A file that becomes larger than this process's files may be would end the process.
bool MayBeThatLarge(std::size_t bytes) {
  rlimit limit{};
  return getrlimit(RLIMIT_FSIZE, &limit) == 0 && bytes <= limit.rlim_cur;
}

bool WriteAll(int file, std::string_view bytes) {
  if (!MayBeThatLarge(bytes.size())) return false;
  while (!bytes.empty()) {
    const ssize_t count = write(file, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return fsync(file) == 0;
}

// An earlier one may have been left behind by a process that has died.
bool Replace(const Descriptor& folder, const std::string& content) {
  unlinkat(folder.Get(), kNewFile, 0);
  const Descriptor file(
      openat(folder.Get(), kNewFile, O_WRONLY | O_CREAT | O_EXCL | kSafely, S_IRUSR | S_IWUSR));
  if (file.Get() == -1) return false;
  if (WriteAll(file.Get(), content) && renameat(folder.Get(), kNewFile, folder.Get(), kFile) == 0)
    return true;
  unlinkat(folder.Get(), kNewFile, 0);
  return false;
}

// The lock goes with the process's last descriptor of it.
bool Lock(const Descriptor& file) {
  constexpr int kTries = 100;
  constexpr timespec kPause{0, 10'000'000};
  for (int i = 0; i < kTries; ++i) {
    if (flock(file.Get(), LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    nanosleep(&kPause, nullptr);
  }
  return false;
}

}  // namespace

std::string StateFolder() {
  std::string state = Variable("XDG_STATE_HOME");
  const std::string home = Variable("HOME");
  if (!state.empty() && state.front() == '/') return state;
  return !home.empty() && home.front() == '/' ? home + "/.local/state" : "";
}

std::string ReadMemoryFile(const std::string& folder, std::size_t mostBytes) {
  const Descriptor opened(OpenFolder(folder));
  return opened.IsOwn(S_IFDIR) ? ReadFrom(opened, mostBytes) : "";
}

bool ChangeMemoryFile(const std::string& folder, std::size_t mostBytes,
                      const std::function<std::string(const std::string& content)>& change) {
  MakeFolder(folder);
  const Descriptor opened(OpenFolder(folder));
  if (!opened.IsOwn(S_IFDIR)) return false;
  const Descriptor lock(openat(opened.Get(), kLock, O_RDWR | O_CREAT | kSafely, S_IRUSR | S_IWUSR));
  return lock.IsOwn(S_IFREG) && Lock(lock) && Replace(opened, change(ReadFrom(opened, mostBytes)));
}

FileFacts FactsOfProgram(const std::string& program) {
  FileFacts facts{program};
  const auto find = [&](const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    facts = {path, static_cast<std::uint64_t>(status.st_size),
             status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec};
    return true;
  };
  if (program.find('/') != std::string::npos) {
    find(program);
    return facts;
  }
  const std::string folders = Variable("PATH");
  for (std::size_t begin = 0; begin <= folders.size();) {
    const std::size_t end = std::min(folders.find(':', begin), folders.size());
    if (find(folders.substr(begin, end - begin) + "/" + program)) break;
    begin = end + 1;
  }
  return facts;
}

}  // namespace gpuprowler::platform
