/* A host in C99 that has nothing but null pointers. */
#ifndef NULLHOST_H_
#define NULLHOST_H_

#ifdef __cplusplus
extern "C" {
#endif

/* Calls everything. The line of the first answer that isn't as the header says, 0 if all are. */
int AskWithNulls(void);

#ifdef __cplusplus
}
#endif

#endif /* NULLHOST_H_ */
