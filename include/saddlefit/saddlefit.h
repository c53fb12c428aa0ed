/**
 * @file
 * Everything that saddlefit offers to a host, in one include.
 */
#ifndef SADDLEFIT_SADDLEFIT_H
#define SADDLEFIT_SADDLEFIT_H

#include "saddlefit/bonding.h"
#include "saddlefit/database.h"
#include "saddlefit/host.h"
#include "saddlefit/interrupt.h"
#include "saddlefit/linesearch.h"
#include "saddlefit/matching.h"
#include "saddlefit/molecule.h"
#include "saddlefit/reaction.h"
#include "saddlefit/search.h"
#include "saddlefit/store.h"
#include "saddlefit/superpose.h"
#include "saddlefit/vecmath.h"

#endif
