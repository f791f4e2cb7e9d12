// An answer for what watches many machines. What a driver says has its place there and can't leave it, and
// however many GPUs, drivers and reasons an answer has, there is a bound to what is made of them.
#ifndef GPUPROWLER_FLEET_H_
#define GPUPROWLER_FLEET_H_

#include <gpuprowler/answer.h>

#include <string>

namespace gpuprowler {

// In the text format of Prometheus, as the textfile collector of its node exporter reads it. All metrics are
// gauges and begin with "gpuprowler_". The first 32 GPUs, adapters, drivers and codes of reasons have metrics
// of their own; gpuprowler_left_out counts the others. A time that isn't known has no metric. No user
// name, home folder or host name is in it.
std::string AsPrometheus(const Answer& answer);

// A feature file of Kubernetes' node feature discovery: labels of
// "feature.node.kubernetes.io/gpuprowler-...", which expire 2 days after the answer was asked, so that a
// daily run may fail once; at once where that time isn't known. Of an interface's GPUs the labels tell of the
// best one: a card's, complete, and with the most memory.
std::string AsNFD(const Answer& answer);

}  // namespace gpuprowler

#endif  // GPUPROWLER_FLEET_H_
