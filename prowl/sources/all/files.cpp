#include "files.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <random>
#include <stdexcept>
#include <system_error>

namespace prowl {

namespace {

namespace fs = std::filesystem;

std::string ReadAtMost(std::istream& in, std::size_t bytes) {
  std::string text(bytes, '\0');
  in.read(text.data(), static_cast<std::streamsize>(bytes));
  text.resize(static_cast<std::size_t>(in.gcount()));
  return text;
}

// One byte more than a document may have.
std::string ReadFile(const std::string& file) {
  constexpr std::size_t kBytes = gpuprowler::kMaxDocumentBytes + 1;
  if (file == "-") return ReadAtMost(std::cin, kBytes);
  std::ifstream in(fs::u8path(file), std::ios::binary);
  std::string text = ReadAtMost(in, kBytes);
  if (!in.eof() && text.size() < kBytes) throw std::runtime_error("can't read " + file);
  return text;
}

void WriteFile(const fs::path& path, const std::string& text) {
  errno = EIO;  // streams leave it as the system sets it
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text << std::flush;
  if (!out) throw std::system_error(errno, std::generic_category());
}

fs::path HiddenBeside(const fs::path& path) {
  const fs::path name = "." + std::to_string(std::random_device()()) + ".";
  return path.parent_path() / (name.native() + path.filename().native());
}

}  // namespace

gpuprowler::Answer ReadAnswer(const std::string& file) {
  std::optional<gpuprowler::Answer> answer = gpuprowler::AnswerOf(ReadFile(file));
  if (!answer) throw std::runtime_error(file + " isn't a document of prowl --json");
  return std::move(*answer);
}

void ReplaceFile(const std::string& file, const std::string& text) try {
  fs::path path = fs::u8path(file);
  const fs::file_status status = fs::status(path);
  if (fs::exists(status) && !fs::is_regular_file(status)) return WriteFile(path, text);
  if (fs::exists(status)) path = fs::canonical(path);  // a link stays one
  const fs::path hidden = HiddenBeside(path);
  try {
    WriteFile(hidden, text);
    fs::rename(hidden, path);
  } catch (...) {
    std::error_code ignored;
    fs::remove(hidden, ignored);
    throw;
  }
} catch (const std::system_error& error) {
  throw std::runtime_error("can't write " + file + ": " + error.code().message());
}

}  // namespace prowl
