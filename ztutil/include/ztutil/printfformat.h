// Lets the compiler check the arguments of functions that take printf's formats.
#ifndef ZTUTIL_PRINTFFORMAT_H_
#define ZTUTIL_PRINTFFORMAT_H_

// Behind a declaration: has a compiler that can do so check the arguments against the format. The numbers are
// those of the format and of its first argument, 0 for a va_list; a member's begin with `this` as 1.
#ifdef __GNUC__
#define ZTUTIL_PRINTF_FORMAT(number, first) __attribute__((format(printf, number, first)))
#else
#define ZTUTIL_PRINTF_FORMAT(number, first)
#endif

#endif  // ZTUTIL_PRINTFFORMAT_H_
