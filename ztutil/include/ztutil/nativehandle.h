// What WinHandle (winhandle.h) needs of the operating system, as plain functions. Each platform's folder
// defines them once.
#ifndef ZTUTIL_NATIVEHANDLE_H_
#define ZTUTIL_NATIVEHANDLE_H_

#include <boost/filesystem/path.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

namespace ztutil {

// A file descriptor, or a HANDLE.
using NativeHandle = std::intptr_t;
constexpr NativeHandle kInvalidHandle = -1;

// Functions that can fail give the system's error code, and 0 for success; their out values are set on
// success only. Signals that interrupt a call are no error, and no call leaves a SIGPIPE behind. Handles that
// are made aren't inherited by child processes. Any thread may call.
namespace native {

enum class Origin { kBegin, kCurrent, kEnd };
enum class StandardStream { kInput, kOutput, kError };

// By the flags of winhandle.h, which were checked.
std::uint32_t Open(const boost::filesystem::path& path, std::uint32_t access, std::uint32_t creation,
                   NativeHandle& handle);

// Count is 0 at the end of the data and where a pipe's writer has gone. On Linux both wait also where the
// descriptor doesn't block.
std::uint32_t Read(NativeHandle handle, void* buf, std::size_t n, std::size_t& count);
std::uint32_t Write(NativeHandle handle, const void* buf, std::size_t n, std::size_t& count);

std::uint32_t Seek(NativeHandle handle, std::int64_t distance, Origin origin, std::int64_t& position);

// Makes the file end at its position.
std::uint32_t SetEnd(NativeHandle handle);

// Take whatever they are given, and ignore a failure.
void Close(NativeHandle handle);
void Delete(const boost::filesystem::path& path);

// Gives an absolute path.
std::uint32_t TempDirectory(boost::filesystem::path& directory);

// Makes an empty file that wasn't there: the prefix's first three characters, hexadecimal digits and ".TMP".
// A system that opens it on the way, for reading and writing, gives the handle to the caller, another one
// kInvalidHandle.
std::uint32_t MakeTempFile(const boost::filesystem::path& directory, const boost::filesystem::path& prefix,
                           boost::filesystem::path& path, NativeHandle& handle);

// Isn't the caller's to close.
NativeHandle StandardHandle(StandardStream stream);

// The system's text for an error code as it comes; empty if there is none.
std::string ErrorText(std::uint32_t code);

}  // namespace native

}  // namespace ztutil

#endif  // ZTUTIL_NATIVEHANDLE_H_
