#include "host/saddle/xtb_surface.hpp"

#include <array>
#include <dlfcn.h>
#include <optional>
#include <utility>

namespace saddlefit::host {

namespace {

constexpr int heaviestElement = 86; // radon; the library reads past its tables beyond it
constexpr double accuracy = 0.2;
constexpr double electronicTemperature = 300.0; // kelvin
constexpr int mostIterations = 250;

/// The functions of the library that are called, under its own names, and its opaque handles.
struct XtbFunctions {
    using Handle = void *;
    Handle (*newEnvironment)();
    void (*delEnvironment)(Handle *);
    int (*checkEnvironment)(Handle);
    void (*getError)(Handle, char *, const int *);
    void (*setVerbosity)(Handle, int);
    Handle (*newMolecule)(Handle, const int *, const int *, const double *, const double *,
                          const int *, const double *, const bool *);
    void (*delMolecule)(Handle *);
    void (*updateMolecule)(Handle, Handle, const double *, const double *);
    Handle (*newCalculator)();
    void (*delCalculator)(Handle *);
    void (*loadMethod)(Handle, Handle, Handle, char *);
    void (*setAccuracy)(Handle, Handle, double);
    void (*setElectronicTemp)(Handle, Handle, double);
    void (*setMaxIter)(Handle, Handle, int);
    Handle (*newResults)();
    void (*delResults)(Handle *);
    void (*singlepoint)(Handle, Handle, Handle, Handle);
    void (*getEnergy)(Handle, Handle, double *);
    void (*getGradient)(Handle, Handle, double *);
};

void *openLibrary(const std::string &name) {
    // Never closed: the run-time libraries behind it do not survive that.
    void *library = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library != nullptr) return library;
    const char *reason = dlerror();
    throw Error(ErrorKind::noProgram,
                "the library " + name + " cannot be loaded (" +
                    (reason != nullptr ? reason : "no reason is given") +
                    "); install xtb 6.4 or later, on Debian the package libxtb6");
}

template <typename Function> void find(void *library, const char *name, Function &function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function != nullptr) return;
    throw Error(ErrorKind::noProgram,
                std::string("libxtb has no function ") + name + "; install another version");
}

/// Call a setter of thread numbers, wherever in the library's dependencies it is.
void useOneThread(void *library) {
    for (const char *name : {"omp_set_num_threads", "openblas_set_num_threads"}) {
        if (void *setter = dlsym(library, name)) reinterpret_cast<void (*)(int)>(setter)(1);
    }
}

struct MethodNames {
    const char *ours, *loader;
};

const MethodNames &namesOf(XtbMethod method) {
    static constexpr std::array names{MethodNames{"gfn2", "xtb_loadGFN2xTB"},
                                      MethodNames{"gfn1", "xtb_loadGFN1xTB"},
                                      MethodNames{"gfnff", "xtb_loadGFNFF"}};
    return names[static_cast<std::size_t>(method)];
}

XtbFunctions functionsOf(void *library, XtbMethod method) {
    XtbFunctions xtb{};
    find(library, "xtb_newEnvironment", xtb.newEnvironment);
    find(library, "xtb_delEnvironment", xtb.delEnvironment);
    find(library, "xtb_checkEnvironment", xtb.checkEnvironment);
    find(library, "xtb_getError", xtb.getError);
    find(library, "xtb_setVerbosity", xtb.setVerbosity);
    find(library, "xtb_newMolecule", xtb.newMolecule);
    find(library, "xtb_delMolecule", xtb.delMolecule);
    find(library, "xtb_updateMolecule", xtb.updateMolecule);
    find(library, "xtb_newCalculator", xtb.newCalculator);
    find(library, "xtb_delCalculator", xtb.delCalculator);
    find(library, namesOf(method).loader, xtb.loadMethod);
    find(library, "xtb_setAccuracy", xtb.setAccuracy);
    find(library, "xtb_setElectronicTemp", xtb.setElectronicTemp);
    find(library, "xtb_setMaxIter", xtb.setMaxIter);
    find(library, "xtb_newResults", xtb.newResults);
    find(library, "xtb_delResults", xtb.delResults);
    find(library, "xtb_singlepoint", xtb.singlepoint);
    find(library, "xtb_getEnergy", xtb.getEnergy);
    find(library, "xtb_getGradient", xtb.getGradient);
    return xtb;
}

/// Turns a molecule into no particular orientation. The library's gradients are wrong by up to 5e-3
/// hartree per bohr where two atoms share a coordinate to the last digit, as drawn molecules do.
class Turn {
public:
    Eigen::VectorXd there(const Eigen::VectorXd &coordinates) const {
        return applied(turn_, coordinates);
    }
    Eigen::VectorXd back(const Eigen::VectorXd &coordinates) const {
        return applied(turn_.transpose(), coordinates);
    }

private:
    static Eigen::VectorXd applied(const Eigen::Matrix3d &turn, const Eigen::VectorXd &vectors) {
        Eigen::VectorXd turned(vectors.size());
        Eigen::Map<Eigen::Matrix3Xd>(turned.data(), 3, vectors.size() / 3) =
            turn * Eigen::Map<const Eigen::Matrix3Xd>(vectors.data(), 3, vectors.size() / 3);
        return turned;
    }
    Eigen::Matrix3d turn_ =
        Eigen::AngleAxisd(0.7, Eigen::Vector3d(1.0, 0.5, 0.3).normalized()).toRotationMatrix();
};

/// A molecule with its calculator and its wave function inside the library.
class XtbCalculation {
public:
    XtbCalculation(const XtbFunctions &xtb, const Species &species, XtbMethod method,
                   const Eigen::VectorXd &coordinates)
        : xtb_(xtb), environment_(xtb.newEnvironment()) {
        xtb_.setVerbosity(environment_, 0);
        const int atoms = static_cast<int>(species.elements.size());
        const double charge = species.charge;
        molecule_ =
            xtb_.newMolecule(environment_, &atoms, species.elements.data(), coordinates.data(),
                             &charge, &species.unpaired, nullptr, nullptr);
        calculator_ = xtb_.newCalculator();
        results_ = xtb_.newResults();
        if (failed()) return;
        xtb_.loadMethod(environment_, molecule_, calculator_, nullptr);
        if (failed() || method == XtbMethod::gfnff) return;
        xtb_.setAccuracy(environment_, calculator_, accuracy);
        xtb_.setElectronicTemp(environment_, calculator_, electronicTemperature);
        xtb_.setMaxIter(environment_, calculator_, mostIterations);
    }
    XtbCalculation(const XtbCalculation &) = delete;
    XtbCalculation &operator=(const XtbCalculation &) = delete;
    ~XtbCalculation() {
        xtb_.delResults(&results_);
        xtb_.delCalculator(&calculator_);
        xtb_.delMolecule(&molecule_);
        xtb_.delEnvironment(&environment_);
    }

    /// Nothing where the library reports an error; errorText() has it then.
    std::optional<Evaluation> evaluate(const Eigen::VectorXd &coordinates) {
        if (failed()) return std::nullopt;
        xtb_.updateMolecule(environment_, molecule_, coordinates.data(), nullptr);
        xtb_.singlepoint(environment_, molecule_, calculator_, results_);
        if (failed()) return std::nullopt;
        Evaluation result;
        result.gradient.resize(coordinates.size());
        xtb_.getEnergy(environment_, results_, &result.energy);
        xtb_.getGradient(environment_, results_, result.gradient.data());
        if (failed()) return std::nullopt;
        return result;
    }

    /// The first line of what the library says is wrong; takes the error away.
    std::string errorText() {
        std::array<char, 1024> text{};
        const int size = static_cast<int>(text.size());
        xtb_.getError(environment_, text.data(), &size);
        text.back() = '\0';
        std::string line(text.data());
        line.resize(std::min(line.size(), line.find('\n')));
        return line;
    }

private:
    bool failed() const { return xtb_.checkEnvironment(environment_) != 0; }
    const XtbFunctions &xtb_;
    XtbFunctions::Handle environment_;
    XtbFunctions::Handle molecule_ = nullptr;
    XtbFunctions::Handle calculator_ = nullptr;
    XtbFunctions::Handle results_ = nullptr;
};

class XtbSurface final : public EnergySurface {
public:
    XtbSurface(Species species, XtbMethod method, void *library)
        : EnergySurface(std::move(species)),
          method_(method),
          xtb_(functionsOf(library, method)),
          library_(library) {}

    std::string level() const override { return nameOf(method_); }

private:
    Evaluation evaluate(const Eigen::VectorXd &coordinates) override {
        auto result = evaluateTurned(turn_.there(coordinates));
        result.gradient = turn_.back(result.gradient);
        return result;
    }
    Evaluation evaluateTurned(const Eigen::VectorXd &coordinates) {
        useOneThread(library_); // each thread of the host has a number of its own
        if (calculation_) {
            if (auto result = calculation_->evaluate(coordinates)) return *std::move(result);
        }
        // A wave function from elsewhere can be what keeps this one from converging.
        calculation_.emplace(xtb_, species(), method_, coordinates);
        if (auto result = calculation_->evaluate(coordinates)) return *std::move(result);
        const auto reason = calculation_->errorText();
        calculation_.reset();
        throw Error(ErrorKind::program, level() + " fails: " + reason);
    }
    XtbMethod method_;
    XtbFunctions xtb_;
    void *library_;
    Turn turn_;
    std::optional<XtbCalculation> calculation_;
};

} // namespace

const char *nameOf(XtbMethod method) {
    return namesOf(method).ours;
}

std::optional<XtbMethod> xtbMethodNamed(const std::string &name) {
    for (const auto method : {XtbMethod::gfn2, XtbMethod::gfn1, XtbMethod::gfnff})
        if (name == nameOf(method)) return method;
    return std::nullopt;
}

std::unique_ptr<EnergySurface> xtbSurface(Species species, XtbMethod method,
                                          const std::string &library) {
    requirePossible(species, heaviestElement);
    return std::make_unique<XtbSurface>(std::move(species), method, openLibrary(library));
}

} // namespace saddlefit::host
