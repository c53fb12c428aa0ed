#include "host/upkeep/shape.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace saddlefit::host {

namespace {

// Angstrom. Two optimisations of one structure differ by less, two conformers by more.
constexpr float sameDistance = 0.01F;

// Zero where all weights are.
Position centroid(const std::vector<StructureAtom> &atoms, const std::vector<double> &weights) {
    Position sum;
    double total = 0.0;
    for (std::size_t i = 0; i < atoms.size(); ++i) {
        const auto &at = atoms[i].position;
        sum = {sum.x + weights[i] * at.x, sum.y + weights[i] * at.y, sum.z + weights[i] * at.z};
        total += weights[i];
    }
    if (total == 0.0) return {};
    return {sum.x / total, sum.y / total, sum.z / total};
}

std::vector<double> marksOf(std::size_t atomCount, const std::vector<Transition> &transitions) {
    std::vector<double> marks(atomCount, 0.0);
    for (const auto &step : transitions) {
        for (const int atom : {step.breakA, step.breakB, step.formA, step.formB}) {
            if (atom >= 0) marks[static_cast<std::size_t>(atom)] = 1.0;
        }
    }
    return marks;
}

} // namespace

Shape::Shape(const std::vector<StructureAtom> &atoms, const std::vector<Transition> &transitions) {
    std::vector<double> numbers;
    for (const auto &atom : atoms) {
        elements_.push_back(atom.element);
        numbers.push_back(atom.element);
    }
    std::sort(elements_.begin(), elements_.end());
    addDistances(atoms, centroid(atoms, std::vector<double>(atoms.size(), 1.0)));
    addDistances(atoms, centroid(atoms, marksOf(atoms.size(), transitions)));
    addDistances(atoms, centroid(atoms, numbers));
}

void Shape::addDistances(const std::vector<StructureAtom> &atoms, const Position &from) {
    std::vector<std::pair<int, float>> distances;
    for (const auto &[element, charge, at] : atoms) {
        const double distance = distanceBetween(at, from);
        distances.emplace_back(element, static_cast<float>(distance));
    }
    std::sort(distances.begin(), distances.end());
    for (const auto &[element, distance] : distances)
        distances_.push_back(distance);
}

// Sorting brings no two lists further apart than the atoms that belong together are.
bool Shape::isLike(const Shape &other) const {
    return elements_ == other.elements_ &&
           std::equal(distances_.begin(), distances_.end(), other.distances_.begin(),
                      [](float a, float b) { return std::abs(a - b) <= sameDistance; });
}

} // namespace saddlefit::host
