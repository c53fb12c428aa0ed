#include "molecule/current.hpp"
#include "superpose/algebra.hpp"
#include "superpose/linesearch_state.hpp"

#include <algorithm>
#include <cmath>

using namespace saddlefit;

namespace {

constexpr double stepLowest = 1e-20;
constexpr double stepHighest = 1e20;
/// Relative width at which the bracket counts as collapsed.
constexpr double collapsedWidth = 1e-17;
/// Without a bracket, a step may grow by this many times its distance from the best one.
constexpr double extrapolation = 4;
/// The bracket is halved unless it has shrunk to this part in two steps.
constexpr double requiredShrinking = 0.66;
constexpr double bisection = 0.5;
/// An acceptable step is passed while f falls by this part of the first slope: 0.9 in single
/// precision.
constexpr double steepDecrease = 0.8999999761581421;
constexpr double initialWidth = 1e20;

constexpr int plainMode = 1;
constexpr int flaggedMode = 33; ///< the same for every objective that reads the low three bits

/// Failure marks, in falling precedence.
enum Failure {
    noFailure = 0,
    collapsed = 2,
    evaluationLimit = 3,
    atLowerBound = 4,
    atUpperBound = 5,
    roundingErrors = 6
};
constexpr int failureAtStart = 10; ///< added where the last step is 0

constexpr int noDescent = 7;
constexpr int firstStepSignChanged = 7;
constexpr int firstStepSignKept = 8;
constexpr int replacedDirection = 10; ///< added where -g took the place of the direction
constexpr int unbracketedShift = 2;   ///< cases 3 and 4 of the step routine, without a bracket

enum class Repair { none, adjusted, replaced };
enum class Verdict { goOn, done };

/// The arguments of mlines_(), and the state that ends with the search.
struct Search {
    const Tn003 &settings;
    LineSearchSave &save;

    const int *n;
    double *x, *f, *g, *s, *stp;
    int *info;
    double *start;
    int *nfev;
    const int *flag;
    void *user;
    LineSearchFcn fcn;
    LineSearchMove move;
    LineSearchSlope slope;

    double finit = 0, dginit = 0;
    double dgtest = 0; ///< slope of the line that f has to stay below
    double ftest = 0;  ///< height of that line at the trial step
    bool firstStage = true;
    double fbest = 0, stpbest = 0;
    double width = initialWidth, olderWidth = 2 * initialWidth;
    Repair repair = Repair::none;

    void measureSlope() { dginit = algebra::dot(*n, g, s); }
    bool ensureDescent();
    void begin();
    bool bracketed() const { return (save.brackt & 1) != 0; }
    bool bracketCollapsed() const {
        return bracketed() && save.stmax - save.stmin <= collapsedWidth * save.stmax;
    }
    bool leavesBracket(double step) const {
        return bracketed() && (step <= save.stmin || step >= save.stmax);
    }
    void boundInterval();
    void chooseStep();
    void evaluate();
    int failureMark() const;
    Verdict decide();
    Verdict fail(int mark);
    Verdict acceptUnlessSteep();
    int successCode() const;
    void rememberBest();
    void leaveFirstStage();
    void nextTrial();
    void stepOnModifiedFunction();
    void bisectSlowBracket();
};

/// Turn a direction that does not descend against the gradient; false if the gradient is zero.
bool Search::ensureDescent() {
    measureSlope();
    std::copy_n(x, *n, start);
    if (!(dginit >= 0)) return true;

    // The factor is taken afresh for each element, from the direction as changed so far.
    for (int i = 0; i < *n; ++i)
        s[i] = s[i] - std::sqrt(algebra::dot(*n, s, s) / algebra::dot(*n, g, g)) * g[i];
    measureSlope();
    repair = Repair::adjusted;
    if (dginit < 0) return true;

    std::transform(g, g + *n, s, [](double component) { return -component; });
    measureSlope();
    repair = Repair::replaced;
    return !(dginit >= 0);
}

void Search::begin() {
    save.brackt = 0;
    finit = *f;
    dgtest = settings.ftol * dginit;
    save.stx = save.sty = 0;
    save.fx = save.fy = finit;
    save.dgx = save.dgy = dginit;
    fbest = finit;
}

void Search::boundInterval() {
    if (bracketed()) {
        save.stmin = std::min(save.stx, save.sty);
        save.stmax = std::max(save.stx, save.sty);
    } else {
        save.stmin = save.stx;
        save.stmax = *stp + extrapolation * (*stp - save.stx);
    }
}

/// Keep the trial within its bounds; where the search has to give up, return to the best step.
void Search::chooseStep() {
    *stp = std::min(std::max(*stp, stepLowest), stepHighest);
    if (leavesBracket(*stp) || *nfev >= settings.maxfev - 1 || save.infoc == 0 ||
        bracketCollapsed())
        *stp = stpbest;
}

void Search::evaluate() {
    move(n, x, start, stp, s, user);
    save.mode = *flag ? plainMode : flaggedMode;
    fcn(n, x, save.f, g, save.hessian, &save.aux[0], &save.aux[1], &save.mode, &save.aux[2], user);
    *f = save.f[0];
    *info = 0;
    ++*nfev;
    save.dg = slope(n, g, s, start, x, user);
    ftest = finit + *stp * dgtest;
}

int Search::failureMark() const {
    if (*nfev >= settings.maxfev) return evaluationLimit;
    if (*stp == stepLowest && (*f > ftest || save.dg >= dgtest)) return atLowerBound;
    if (*stp == stepHighest && *f <= ftest && save.dg <= dgtest) return atUpperBound;
    if (leavesBracket(*stp) || save.infoc == 0) return roundingErrors;
    return noFailure;
}

/// Written so that a value that is not a number is neither acceptable nor, once the bracket has
/// collapsed, a violation.
Verdict Search::decide() {
    const double allowed = settings.gtol * -dginit;
    const double steepness = std::abs(save.dg);
    if (bracketCollapsed())
        return *f > ftest || steepness > allowed ? fail(collapsed) : acceptUnlessSteep();
    if (*f <= ftest && steepness <= allowed) return acceptUnlessSteep();
    if (const int mark = failureMark()) return fail(mark);
    return Verdict::goOn;
}

Verdict Search::fail(int mark) {
    *info = *stp != 0 ? -mark : -mark - failureAtStart;
    return Verdict::done;
}

/// A step that meets the conditions ends the search, unless the function is still falling steeply
/// along an open ray with evaluations to spare.
Verdict Search::acceptUnlessSteep() {
    const bool done = save.dg * dginit <= 0 || *nfev >= settings.maxfev / 2 || bracketed() ||
                      *f > finit + steepDecrease * dginit;
    *info = done ? successCode() : 0;
    return done ? Verdict::done : Verdict::goOn;
}

int Search::successCode() const {
    int code = save.infoc;
    if (save.infoc > 2 && !bracketed()) code += unbracketedShift;
    if (*nfev == 1) code = dginit * save.dg >= 0 ? firstStepSignKept : firstStepSignChanged;
    return repair == Repair::replaced ? code + replacedDirection : code;
}

void Search::rememberBest() {
    if (!(*f < fbest)) return;
    fbest = *f;
    stpbest = *stp;
}

void Search::leaveFirstStage() {
    if (*f <= ftest && save.dg >= std::min(settings.ftol, settings.gtol) * dginit)
        firstStage = false;
}

void Search::nextTrial() {
    if (firstStage && *f <= save.fx && *f > ftest && !bracketed()) return stepOnModifiedFunction();
    newstp_(&save.stx, &save.fx, &save.dgx, &save.sty, &save.fy, &save.dgy, stp, f, &save.dg,
            &save.brackt, &save.stmin, &save.stmax, &save.infoc);
}

/// The first stage looks for a step below the line of sufficient decrease: it works on f less that
/// line.
void Search::stepOnModifiedFunction() {
    save.fm = *f - *stp * dgtest;
    save.fxm = save.fx - save.stx * dgtest;
    save.fym = save.fy - save.sty * dgtest;
    save.dgm = save.dg - dgtest;
    save.dgxm = save.dgx - dgtest;
    save.dgym = save.dgy - dgtest;
    newstp_(&save.stx, &save.fxm, &save.dgxm, &save.sty, &save.fym, &save.dgym, stp, &save.fm,
            &save.dgm, &save.brackt, &save.stmin, &save.stmax, &save.infoc);
    save.fx = save.fxm + save.stx * dgtest;
    save.fy = save.fym + save.sty * dgtest;
    save.dgx = save.dgxm + dgtest;
    save.dgy = save.dgym + dgtest;
}

void Search::bisectSlowBracket() {
    if (!bracketed()) return;
    const double newWidth = std::abs(save.sty - save.stx);
    if (newWidth >= requiredShrinking * olderWidth)
        *stp = save.stx + bisection * (save.sty - save.stx);
    olderWidth = width;
    width = newWidth;
}

bool validInput(const Tn003 &settings, int n, double step) {
    return n >= 1 && step > 0 && !(settings.ftol < 0) && !(settings.gtol < 0) &&
           settings.maxfev >= 1;
}

} // namespace

void mlines_(const int *n, double *x, double *f, double *g, double *s, double *stp, int *info,
             double *wa, int *nfev, const int *flag, void *user, LineSearchFcn fcn,
             LineSearchMove move, LineSearchSlope slope) {
    LineSearchState &state = Current<LineSearchState>::state();
    LineSearchSave &save = state.save;
    save.infoc = 1;
    *nfev = 0;
    if (!validInput(state.tn003, *n, *stp)) return;

    Search search{state.tn003, save, n,    x,    f,    g,   s,    stp,
                  info,        wa,   nfev, flag, user, fcn, move, slope};
    if (!search.ensureDescent()) {
        *info = noDescent;
        return;
    }
    search.begin();
    for (;;) {
        search.boundInterval();
        search.chooseStep();
        search.evaluate();
        if (search.decide() == Verdict::done) return;
        search.rememberBest();
        search.leaveFirstStage();
        search.nextTrial();
        search.bisectSlowBracket();
    }
}
