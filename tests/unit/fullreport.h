// Reports of made-up machines, for tests of what hosts make of one.
#ifndef FULLREPORT_H_
#define FULLREPORT_H_

#include <string>

// The report of a machine with so many GPUs, without answers that are optional there, and without those of a
// GPU from the question on that it fails.
std::string FullReport(unsigned glGPUs, unsigned clGPUs, const std::string& failed = "");

// Up to the end of the first line that begins so.
std::string Until(const std::string& beginning, const std::string& report = FullReport(1, 1));

#endif  // FULLREPORT_H_
