#include "privacy.h"

#include "documentfields.h"
#include "run/steps.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <string_view>
#include <type_traits>

namespace gpuprowler {

namespace {

// What answers say of themselves, and names of makers, products and systems, and of users and machines that
// are called as others are.
constexpr std::string_view kUsualWords =
    "admin administrator adreno amd amdgpu android apple arch arm asahi asked build card centos crashed "
    "crocus "
    "cuda debian default desktop device display docker driver drivers dxgi egl ended failed failure fedora "
    "finished found freedreno gallium geforce gentoo glx gpu gpuprowler graphics guest hasvk home host hung "
    "i915 icd intel interrupted iris kernel kms kvm laptop layer lib library linux lib64 lima llvm llvmpipe "
    "localhost machine main mali mesa microsoft missing module mint nixos node notebook nouveau nvidia "
    "opencl "
    "opengl panfrost platform pocl prober prowl public qemu quadro radeon radeonsi red render root run "
    "runner "
    "rusticl sandbox server set sgi share signal software status stderr stdout suse swrast system test "
    "tester "
    "thread ubuntu unknown user users usr video virgl virtual virtualbox vmware void vulkan wayland windows "
    "wine "
    "workstation xorg zink";

char Folded(char c) { return c == '\\' ? '/' : 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsLetter(char c) { return 'a' <= Folded(c) && Folded(c) <= 'z'; }

// What isn't ASCII may be a quote.
bool IsOfAWord(char c) { return IsLetter(c) || ('0' <= c && c <= '9'); }

std::string Folded(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return Folded(c); });
  return text;
}

void AddWords(std::string_view text, std::set<std::string>& words) {
  for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
    for (end = at; end < text.size() && IsOfAWord(text[end]);) ++end;
    words.insert(Folded(std::string(text.substr(at, end - at))));
  }
}

bool IsUsual(const std::string& folded) {
  static const std::set<std::string> words = [] {
    std::set<std::string> all;
    AddWords(kUsualWords, all);
    for (const Step& step : Steps()) {
      AddWords(step.key, all);
      AddWords(step.topic, all);
    }
    return all;
  }();
  return words.count(folded) > 0;
}

// What is looked for, folded.
class Name {
 public:
  Name(const std::string& name, const char* standIn, bool isFolder)
      : fName(Folded(name)),
        fStandIn(standIn),
        fIsFolder(isFolder),
        fMayBeChance(fName.size() < 3 || std::none_of(fName.begin(), fName.end(), IsLetter) ||
                     IsUsual(fName)) {}

  void Hide(std::string& text) const {
    std::string rest;
    auto from = text.cbegin();
    for (auto at = from;; ++at) {
      at = std::search(at, text.cend(), fName.begin(), fName.end(),
                       [](char a, char b) { return Folded(a) == b; });
      if (at == text.cend()) break;
      if (!IsMeant(
              std::string_view(text).substr(0, static_cast<std::size_t>(at - text.cbegin())),
              std::string_view(text).substr(static_cast<std::size_t>(at - text.cbegin()) + fName.size())))
        continue;
      rest.append(from, at) += fStandIn;
      from = at + static_cast<std::ptrdiff_t>(fName.size());
      at = from - 1;
    }
    if (from != text.cbegin()) text = rest.append(from, text.cend());
  }

 private:
  bool IsMeant(std::string_view before, std::string_view behind) const {
    const char next = behind.empty() ? ' ' : behind[0];
    if (IsOfAWord(next)) return false;
    if (fIsFolder) return next != '_' && next != '-';
    if (!before.empty() && IsOfAWord(before.back())) return false;
    return !fMayBeChance || next == '@' || CarriesAName(before);
  }

  static bool CarriesAName(std::string_view before) {
    for (const std::string_view carrier : {"home/", "users/", "media/", "@", "//"})
      if (before.size() >= carrier.size() &&
          Folded(std::string(before.substr(before.size() - carrier.size()))) == carrier)
        return true;
    return false;
  }

  std::string fName;
  const char* fStandIn;
  bool fIsFolder;
  bool fMayBeChance;
};

bool IsAbsolute(const std::string& path) { return Folded(path[0]) == '/' || path[1] == ':'; }

class Hiding {
 public:
  explicit Hiding(const OwnNames& names) {
    for (const std::string& home : names.homes)
      if (home.size() > 1 && IsAbsolute(home)) fNames.emplace_back(home, "~", true);
    for (const std::string& user : names.users)
      if (!user.empty()) fNames.emplace_back(user, "USER", false);
    for (const std::string& host : names.hosts)
      if (!host.empty()) fNames.emplace_back(host, "HOST", false);
  }

  void Hide(std::string& text) const {
    for (const Name& name : fNames) name.Hide(text);
  }

  void Hide(Value& value) const {
    if (auto* const text = std::get_if<std::string>(&value.value)) Hide(*text);
  }

  template <class Part>
  void Hide(std::vector<Part>& parts) const {
    for (Part& part : parts) Hide(part);
  }
  void Hide(std::deque<std::string>& texts) const {
    for (std::string& text : texts) Hide(text);
  }

  template <class Part>
  void Hide(std::optional<Part>& part) const {
    if (part) Hide(*part);
  }

  template <class Part>
  void Hide(Part& part) const {
    if constexpr (std::is_class_v<Part>)
      FieldsOf(&part, [&](const char*, auto member) { Hide(part.*member); });
  }

 private:
  std::vector<Name> fNames;
};

}  // namespace

Answer WithoutNames(Answer answer, const OwnNames& names) {
  Hiding(names).Hide(answer);
  return answer;
}

}  // namespace gpuprowler
