// What an answer's document consists of, for those who write and read it.
#ifndef GPUPROWLER_DOCUMENTFIELDS_H_
#define GPUPROWLER_DOCUMENTFIELDS_H_

#include <gpuprowler/answer.h>

#include <cstddef>

namespace gpuprowler {

inline constexpr char kSchema[] = "gpuprowler-answer-1";
inline constexpr double kMaxSeconds = 1e9;

// What the keys of an object are, in their order: for each a field of the struct.

template <class Field>
void FieldsOf(const OperatingSystem*, Field&& field) {
  field("type", &OperatingSystem::type);
  field("version", &OperatingSystem::version);
}

template <class Field>
void FieldsOf(const Adapter*, Field&& field) {
  field("address", &Adapter::address);
  field("name", &Adapter::name);
  field("vendorID", &Adapter::vendorID);
  field("deviceID", &Adapter::deviceID);
  field("subsystemID", &Adapter::subsystemID);
  field("revision", &Adapter::revision);
  field("driver", &Adapter::driver);
  field("driverVersion", &Adapter::driverVersion);
  field("driverDate", &Adapter::driverDate);
  field("memoryBytes", &Adapter::memoryBytes);
  field("memorySource", &Adapter::memorySource);
  field("asleep", &Adapter::asleep);
  field("renderNode", &Adapter::renderNode);
  field("mayOpen", &Adapter::mayOpen);
  field("group", &Adapter::group);
  field("outputs", &Adapter::outputs);
}

template <class Field>
void FieldsOf(const Driver*, Field&& field) {
  field("interface", &Driver::interface);
  field("manifest", &Driver::manifest);
  field("library", &Driver::library);
  field("path", &Driver::path);
  field("bytes", &Driver::bytes);
  field("modified", &Driver::modified);
  field("behaviour", &Driver::behaviour);
  field("question", &Driver::question);
  field("since", &Driver::since);
}

template <class Field>
void FieldsOf(const Reason*, Field&& field) {
  field("code", &Reason::code);
  field("text", &Reason::text);
  field("adapter", &Reason::adapter);
  field("driver", &Reason::driver);
}

template <class Field>
void FieldsOf(const GPU*, Field&& field) {
  field("interface", &GPU::interface);
  field("tag", &GPU::tag);
  field("run", &GPU::run);
  field("driver", &GPU::driver);
  field("adapter", &GPU::adapter);
  field("software", &GPU::software);
  field("complete", &GPU::complete);
  field("failed", &GPU::failed);
  field("values", &GPU::values);
}

template <class Field>
void FieldsOf(const Line*, Field&& field) {
  field("seconds", &Line::seconds);
  field("kind", &Line::kind);
  field("text", &Line::text);
  field("bytesCut", &Line::bytesCut);
}

template <class Field>
void FieldsOf(const Stream*, Field&& field) {
  field("linesDropped", &Stream::linesDropped);
  field("lines", &Stream::lines);
  field("unfinished", &Stream::unfinished);
}

template <class Field>
void FieldsOf(const Run*, Field&& field) {
  field("verdict", &Run::verdict);
  field("text", &Run::text);
  field("drivers", &Run::drivers);
  field("alone", &Run::alone);
  field("seconds", &Run::seconds);
  field("end", &Run::end);
  field("exitStatus", &Run::exitStatus);
  field("complete", &Run::complete);
  field("lastLine", &Run::lastLine);
  field("asked", &Run::asked);
  field("notes", &Run::notes);
  field("standsIn", &Run::standsIn);
  field("values", &Run::values);
  field("stdout", &Run::output);
  field("stderr", &Run::errors);
}

template <class Field>
void FieldsOf(const Answer*, Field&& field) {
  field("verdict", &Answer::verdict);
  field("text", &Answer::text);
  field("time", &Answer::time);
  field("seconds", &Answer::seconds);
  field("remembered", &Answer::remembered);
  field("prober", &Answer::prober);
  field("arguments", &Answer::arguments);
  field("system", &Answer::system);
  field("reasons", &Answer::reasons);
  field("adapters", &Answer::adapters);
  field("drivers", &Answer::drivers);
  field("gpus", &Answer::gpus);
  field("runs", &Answer::runs);
}

// Words for what is a number to the compiler.

inline const char* NameOf(Interface interface) {
  return interface == Interface::kOpenGL ? "OpenGL" : "OpenCL";
}
inline const char* NameOf(Verdict verdict) { return VerdictName(verdict); }
inline const char* NameOf(Behaviour behaviour) { return BehaviourName(behaviour); }
inline const char* NameOf(LineKind kind) {
  constexpr const char* kNames[] = {"other", "finding", "symbol", "comment", "failure"};
  return kNames[static_cast<std::size_t>(kind)];
}

template <class Enumeration>
inline constexpr Enumeration kLast{};
template <>
inline constexpr Interface kLast<Interface> = Interface::kOpenCL;
template <>
inline constexpr Verdict kLast<Verdict> = Verdict::kInterrupted;
template <>
inline constexpr Behaviour kLast<Behaviour> = Behaviour::kSetAside;
template <>
inline constexpr LineKind kLast<LineKind> = LineKind::kFailure;

}  // namespace gpuprowler

#endif  // GPUPROWLER_DOCUMENTFIELDS_H_
