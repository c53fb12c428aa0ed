// Newton's method on six variables, damped by the line search. The Hessian is an approximation, so
// that every fourth direction is one of steepest descent.
#include "saddlefit/linesearch.h"
#include "saddlefit/superpose.h"

#include "superpose/algebra.hpp"

#include <algorithm>
#include <cmath>

using namespace saddlefit;

namespace {

constexpr int Variables = 6;
constexpr int IterationLimit = 100;
constexpr int NewtonRunLimit = 3;
/// Iterations in a row that have to pass every test.
constexpr int ConvergedRunNeeded = 4;

/// Below this gradient the points fit already; the others end the iteration.
constexpr double InitialGradientTolerance = 1e-11;
constexpr double RelativeTolerance = 1e-6;
constexpr double GradientTolerance = 1e-6;
constexpr double StepTolerance = 1e-4;

constexpr int ValueAndGradient = 1;
constexpr int WithHessian = 3;

double misfit(double value, int count) {
    return count > 0 ? std::sqrt(2 * value) / count : 0;
}

class Minimiser {
public:
    explicit Minimiser(AlignMapState *state) : state_(state) {
        int settings[18];
        double tolerances[8];
        setlis_(&Variables, settings, tolerances, &status_);
    }

    void run(double *params) {
        evaluate(ValueAndGradient);
        value_ = evaluated_[0];
        if (std::sqrt(evaluated_[1]) < InitialGradientTolerance) {
            params[ALIGN_MISFIT] = misfit(value_, state_->count);
            return;
        }
        iterate();
        std::copy_n(x_, Variables, params + ALIGN_FIT_ANGLES);
        params[ALIGN_MISFIT] = misfit(value_, state_->count);
        params[ALIGN_GRADIENT_NORM] = gradientNorm_;
        params[ALIGN_STEP_LENGTH] = stepLength_;
    }

private:
    void iterate() {
        int convergedRun = 0;
        for (int i = 0; i < IterationLimit && convergedRun < ConvergedRunNeeded; ++i) {
            chooseDirection();
            const double before = value_;
            searchAlongDirection();
            convergedRun = passes(before) ? convergedRun + 1 : 0;
        }
    }

    void evaluate(int mode) {
        int one = 1;
        calcFGH(&Variables, x_, evaluated_, gradient_, hessian_, &one, &one, &mode, &status_,
                state_);
    }

    /// Steepest descent asks for nothing but the gradient, which the last search left, and goes on
    /// with the step that it found.
    void chooseDirection() {
        const bool newton = newtonRun_ < NewtonRunLimit && solveNewton();
        if (newton)
            step_ = 1;
        else
            std::copy_n(gradient_, Variables, direction_);
        for (double &component : direction_)
            component = -component;
        newtonRun_ = newton ? newtonRun_ + 1 : 0;
    }

    /// Solve H d = g; false if H is singular.
    bool solveNewton() {
        evaluate(WithHessian);
        std::copy_n(gradient_, Variables, direction_);
        return algebra::LinearSystem<Variables>::solve(hessian_, direction_);
    }

    /// The search may repair the direction, and it is the repaired one that the step is measured
    /// by.
    void searchAlongDirection() {
        constexpr int PlainMode = 1;
        double start[Variables];
        int result = 0, evaluations = 0;
        mlines_(&Variables, x_, &value_, gradient_, direction_, &step_, &result, start,
                &evaluations, &PlainMode, state_, calcFGH, mvX, calcGdir);
        stepLength_ = algebra::norm(Variables, direction_) * step_;
        gradientNorm_ = algebra::norm(Variables, gradient_);
    }

    bool passes(double before) const {
        const double valueScale = (1 + value_) * RelativeTolerance;
        const double positionScale = (1 + algebra::norm(Variables, x_)) * RelativeTolerance;
        return before - value_ < valueScale && before > value_ && stepLength_ < positionScale &&
               gradientNorm_ < valueScale && gradientNorm_ < GradientTolerance &&
               stepLength_ < StepTolerance;
    }

    AlignMapState *state_;
    double x_[Variables] = {}; ///< angles about x, y, z, then translation
    double value_ = 0;         ///< F as of the last line search, not of the last evaluation
    double evaluated_[2] = {}; ///< F and squared gradient norm, as calcFGH() writes them
    double gradient_[Variables] = {};
    double hessian_[Variables * Variables] = {};
    double direction_[Variables] = {};
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
