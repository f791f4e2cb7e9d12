// Machines that don't exist, and what asking them would have told.
#ifndef TESTS_MACHINES_H_
#define TESTS_MACHINES_H_

#include <gpuprowler/answer.h>

// The same number gives the same answer everywhere. On every 67th, from 13 on, a driver crashes; on those
// behind them it has a name that doesn't want to be a label.
gpuprowler::Answer AnswerOfMachine(unsigned number);

#endif  // TESTS_MACHINES_H_
