// The inventory of a Linux machine whose files may stand elsewhere.
#ifndef ZTUTIL_SYSFSINVENTORY_H_
#define ZTUTIL_SYSFSINVENTORY_H_

#include "adaptername.h"

#include <ztutil/adapterinventory.h>

namespace ztutil {

std::unique_ptr<AdapterInventory> CreateSysfsInventory(const KGX::SystemRoots& roots);

}  // namespace ztutil

#endif  // ZTUTIL_SYSFSINVENTORY_H_
