// Answers that differ from another one in what a table names.
#ifndef CHANGED_H_
#define CHANGED_H_

#include <gpuprowler/answer.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>

// Parts of its document set to values, or removed: "/prober=\"x\" & /system".
inline gpuprowler::Answer Changed(const gpuprowler::Answer& answer, std::string changes) {
  using JSON = nlohmann::json;
  JSON document = JSON::parse(AsJSON(answer));
  for (std::size_t end; !changes.empty(); changes.erase(0, std::min(end, changes.size()) + 3)) {
    end = changes.find(" & ");
    const std::string change = changes.substr(0, end), path = change.substr(0, change.find('='));
    document["reportKeys"][path.substr(path.rfind('/') + 1)] = "";
    if (path != change)
      document[JSON::json_pointer(path)] = JSON::parse(change.substr(path.size() + 1));
    else
      document = document.patch({{{"op", "remove"}, {"path", path}}});
  }
  return gpuprowler::AnswerOf(document.dump()).value();
}

#endif  // CHANGED_H_
