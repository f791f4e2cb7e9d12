#include "sharedlibrary.h"

#include <kgx/exception.h>
#include <kgx/opencltable.h>

namespace KGX::OCL {

namespace {

// Fills `table` from the loader of that name; false if anything is missing.
bool Load(const char* fileName, EntryPoints& table) {
  const SharedLibrary library(fileName);
  bool complete = library.IsLoaded();
#define KGX_CL_RESOLVE(name)                                                \
  table.name = reinterpret_cast<decltype(table.name)>(library.Find(#name)); \
  complete = complete && table.name != nullptr;
  KGX_CL_FUNCTIONS(KGX_CL_RESOLVE)
#undef KGX_CL_RESOLVE
  return complete;
}

}  // namespace

bool Library::IsOpenCLAvailable(const std::string& library) {
  EntryPoints table;
  return Load(library.empty() ? kOpenCLLibrary : library.c_str(), table);
}

void Library::Initialize() {
  EntryPoints table;
  if (!Load(kOpenCLLibrary, table)) throw LogicalException("no OpenCL library");
  ExtensionManager::instance()->table() = table;
}

ExtensionManager* ExtensionManager::instance() {
  static ExtensionManager manager;
  return &manager;
}

}  // namespace KGX::OCL
