// Newton's method on six variables, damped by the line search. The Hessian is an approximation, so
// that every fourth direction is one of steepest descent.
#include "saddlefit/linesearch.h"
#include "saddlefit/superpose.h"

#include "superpose/algebra.hpp"

#include <algorithm>
#include <cmath>

using namespace saddlefit;

namespace {

constexpr int variables = 6;
constexpr int iterationLimit = 100;
constexpr int newtonRunLimit = 3;
/// Iterations in a row that have to pass every test.
constexpr int convergedRunNeeded = 4;

/// Below this gradient the points fit already; the others end the iteration.
constexpr double initialGradientTolerance = 1e-11;
constexpr double relativeTolerance = 1e-6;
constexpr double gradientTolerance = 1e-6;
constexpr double stepTolerance = 1e-4;

constexpr int valueAndGradient = 1;
constexpr int withHessian = 3;

double misfit(double value, int count) {
    return count > 0 ? std::sqrt(2 * value) / count : 0;
}

class Minimiser {
public:
    explicit Minimiser(AlignMapState *state) : state_(state) {
        int settings[18];
        double tolerances[8];
        setlis_(&variables, settings, tolerances, &status_);
    }

    void run(double *params) {
        evaluate(valueAndGradient);
        value_ = evaluated_[0];
        if (std::sqrt(evaluated_[1]) < initialGradientTolerance) {
            params[ALIGN_MISFIT] = misfit(value_, state_->count);
            return;
        }
        iterate();
        std::copy_n(x_, variables, params + ALIGN_FIT_ANGLES);
        params[ALIGN_MISFIT] = misfit(value_, state_->count);
        params[ALIGN_GRADIENT_NORM] = gradientNorm_;
        params[ALIGN_STEP_LENGTH] = stepLength_;
    }

private:
    void iterate() {
        int convergedRun = 0;
        for (int i = 0; i < iterationLimit && convergedRun < convergedRunNeeded; ++i) {
            chooseDirection();
            const double before = value_;
            searchAlongDirection();
            convergedRun = passes(before) ? convergedRun + 1 : 0;
        }
    }

    void evaluate(int mode) {
        int one = 1;
        calcFGH(&variables, x_, evaluated_, gradient_, hessian_, &one, &one, &mode, &status_,
                state_);
    }

    /// Steepest descent asks for nothing but the gradient, which the last search left, and goes on
    /// with the step that it found.
    void chooseDirection() {
        const bool newton = newtonRun_ < newtonRunLimit && solveNewton();
        if (newton)
            step_ = 1;
        else
            std::copy_n(gradient_, variables, direction_);
        for (double &component : direction_)
            component = -component;
        newtonRun_ = newton ? newtonRun_ + 1 : 0;
    }

    /// Solve H d = g; false if H is singular.
    bool solveNewton() {
        evaluate(withHessian);
        std::copy_n(gradient_, variables, direction_);
        return algebra::LinearSystem<variables>::solve(hessian_, direction_);
    }

    /// The search may repair the direction, and it is the repaired one that the step is measured
    /// by.
    void searchAlongDirection() {
        constexpr int plainMode = 1;
        double start[variables];
        int result = 0, evaluations = 0;
        mlines_(&variables, x_, &value_, gradient_, direction_, &step_, &result, start,
                &evaluations, &plainMode, state_, calcFGH, mvX, calcGdir);
        stepLength_ = algebra::norm(variables, direction_) * step_;
        gradientNorm_ = algebra::norm(variables, gradient_);
    }

    bool passes(double before) const {
        const double valueScale = (1 + value_) * relativeTolerance;
        const double positionScale = (1 + algebra::norm(variables, x_)) * relativeTolerance;
        return before - value_ < valueScale && before > value_ && stepLength_ < positionScale &&
               gradientNorm_ < valueScale && gradientNorm_ < gradientTolerance &&
               stepLength_ < stepTolerance;
    }

    AlignMapState *state_;
    double x_[variables] = {}; ///< angles about x, y, z, then translation
    double value_ = 0;         ///< F as of the last line search, not of the last evaluation
    double evaluated_[2] = {}; ///< F and squared gradient norm, as calcFGH() writes them
    double gradient_[variables] = {};
    double hessian_[variables * variables] = {};
    double direction_[variables] = {};
    double step_ = 1;
    double stepLength_ = 0;
    double gradientNorm_ = 0;
    int newtonRun_ = 0;
    int status_ = 0; ///< of setlis_()
};

} // namespace

void doSuperR(AlignMapState *state, double *params) {
    Minimiser(state).run(params);
}
