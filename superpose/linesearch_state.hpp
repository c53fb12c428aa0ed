/// What a line search works with, kept from call to call.
#pragma once

#include "saddlefit/linesearch.h"

namespace saddlefit {

/// The working storage of the search at hand.
struct LineSearchSave {
    int infoc;  ///< status of the step routine
    int brackt; ///< bit 0
    int mode;
    int aux[3];
    double f[2];
    double hessian[36];
    double stx, fx, dgx;
    double sty, fy, dgy;
    double stmin, stmax;
    double dg;
    double fm, fxm, fym, dgm, dgxm, dgym;
};

/// Settings that belong to somebody else than the process.
struct LineSearchSettings {
    Tn001 tn001{};
    Tn003 tn003{};
    Tn006 tn006{};
};

/// The storage, and the settings to search by: those of the process are the exported ones.
struct LineSearchState {
    constexpr LineSearchState(Tn001 &first, Tn003 &third, Tn006 &sixth)
        : tn001(first), tn003(third), tn006(sixth) {}
    explicit LineSearchState(LineSearchSettings &settings)
        : LineSearchState(settings.tn001, settings.tn003, settings.tn006) {}
    static LineSearchState &ofProcess();

    Tn001 &tn001;
    Tn003 &tn003;
    Tn006 &tn006;
    LineSearchSave save{};
};

} // namespace saddlefit
