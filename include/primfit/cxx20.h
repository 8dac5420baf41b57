// Every C++ header stands on this, so that a compiler set to an older standard hears it in one line.
#ifndef PRIMFIT_CXX20_H_
#define PRIMFIT_CXX20_H_

#if __cplusplus <= 201703L
#error "primfit needs C++20, for instance -std=c++20; its headers for C, fit_c.h and flat.h, do without"
#endif

#endif  // PRIMFIT_CXX20_H_
