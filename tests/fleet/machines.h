// Machines that don't exist, and what asking them would have told.
#ifndef TESTS_MACHINES_H_
#define TESTS_MACHINES_H_

#include <gpuprowler/answer.h>

// The same number gives the same answer everywhere. On every 67th, from 13 on, a driver crashes.
gpuprowler::Answer AnswerOfMachine(unsigned number);

#endif  // TESTS_MACHINES_H_
