// The adapters of a Linux machine. None are read yet: every GPU is the one of the matching's fallback.
#include "gpuimplwin.h"

std::vector<WMIData> WMIData::GetAllDevices() { return {}; }

std::vector<DXGIData> DXGIData::GetAllDevices() { return {}; }
