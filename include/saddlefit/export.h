/* Marks what the shared library shows; everything else in it stays hidden. */
#ifndef SADDLEFIT_EXPORT_H
#define SADDLEFIT_EXPORT_H

#if defined(__GNUC__)
#define SADDLEFIT_API __attribute__((visibility("default")))
#else
#define SADDLEFIT_API
#endif

#endif
