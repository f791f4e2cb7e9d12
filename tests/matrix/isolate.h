// One driver of several does harm, at its load, when it's asked for its devices, and at each question: an
// answer must name it, have the others' GPUs whole, come in time, and leave nothing behind.
#ifndef ISOLATE_H_
#define ISOLATE_H_

// Prints a row for each, and counts; of a part only a few. False if something is wrong.
bool Isolate(bool all);

#endif  // ISOLATE_H_
