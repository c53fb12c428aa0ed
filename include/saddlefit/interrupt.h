/**
 * @file
 * A way out of a long search.
 *
 * How long a mapping takes is exponential in the worst case: where many atoms look alike, nearly
 * fit and do not. A host that has to stay responsive names a function that is asked now and then
 * whether to go on:
 *
 *     static int pastDeadline(void *deadline) { return time(NULL) > *(const time_t *)deadline; }
 *
 *     time_t deadline = time(NULL) + 10;
 *     setInterrupt(pastDeadline, &deadline);
 *     C_startReaction(mol, path);
 *     setInterrupt(NULL, NULL);
 *
 * Unless the function asks for an end, no result changes.
 */
#ifndef SADDLEFIT_INTERRUPT_H
#define SADDLEFIT_INTERRUPT_H

#include "saddlefit/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Answers whether the call at hand should give up.
 *
 * Asked before each candidate of a search and every thousand or so branches of a mapping. It must
 * not throw and must not call the library. Once it has answered yes, it should do so until the
 * interrupted call has returned.
 *
 * @param context  As handed to setInterrupt().
 * @return         0 to go on; anything else to give up.
 */
typedef int (*InterruptCallback)(void *context);

/**
 * Name the function that may end a long search before its time.
 *
 * An interrupted mapping finds nothing: mapSub() returns -10 and mapSingleSub() 0. An interrupted
 * mapDB() chooses nothing, whatever partial match it found before (an exact one ends it at once),
 * and so C_startReaction() goes on as if no stored structure fitted. One function for the process,
 * not locked.
 *
 * @param callback  Function to ask; NULL to ask nobody, as it is at first.
 * @param context   The host's, handed to the callback as it is.
 */
SADDLEFIT_API void setInterrupt(InterruptCallback callback, void *context);

#ifdef __cplusplus
}
#endif

#endif
