/* Marks what libprimfit.so exports; everything else in it is hidden. Valid C. */
#ifndef PRIMFIT_EXPORT_H_
#define PRIMFIT_EXPORT_H_

#if defined(__GNUC__) || defined(__clang__)
#define PRIMFIT_API __attribute__((visibility("default")))
#else
#define PRIMFIT_API
#endif

#endif /* PRIMFIT_EXPORT_H_ */
