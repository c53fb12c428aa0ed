#include "collection/shipping.hpp"

#include "saddlefit/reaction.h"

#include "collection/picture.hpp"
#include "host/reactions/drawing.hpp"
#include "host/reactions/transitions.hpp"
#include "host/structures/elements.hpp"
#include "host/structures/host_molecule.hpp"
#include "host/structures/molfile.hpp"
#include "host/structures/units.hpp"
#include "host/system/output_file.hpp"
#include "host/system/text.hpp"

#include <algorithm>
#include <map>

namespace saddlefit::collection {

namespace {

constexpr double highBarrier = 100.0; // kcal/mol
constexpr const char *method = "GFN2-xTB";

double higherBarrier(const Json &record) {
    return std::max(record.at("barrier_kcal").get<double>(),
                    record.at("reverse_barrier_kcal").get<double>());
}

Structure structureOf(const VerifiedSaddle &saddle, const LewisStructure &drawing,
                      const Eigen::VectorXd &coordinates) {
    Structure structure;
    const Eigen::Map<const Eigen::Matrix3Xd> points(coordinates.data(), 3, coordinates.size() / 3);
    const Eigen::Vector3d centre = points.rowwise().mean();
    for (std::size_t i = 0; i < saddle.species.elements.size(); ++i) {
        const Eigen::Vector3d at =
            angstromPerBohr * (points.col(static_cast<Eigen::Index>(i)) - centre);
        structure.atoms.push_back(
            {saddle.species.elements[i], drawing.charges[i], {at.x(), at.y(), at.z()}});
    }
    for (const auto &[pair, order] : drawing.orders)
        structure.bonds.push_back({pair.first, pair.second, order});
    return structure;
}

std::string centreOf(const VerifiedSaddle &saddle) {
    const auto before = structureOf(saddle, saddle.reactant, saddle.atReactant);
    const auto after = structureOf(saddle, saddle.product, saddle.atProduct);
    const auto steps = deriveTransitions(withoutRedrawnRings(changedBonds(before, after)));
    const auto mol = hostMolecule(before.atoms, before.bonds, steps);
    C_startReaction(mol.get(), nullptr);
    return codeInSymbols(codeOf(mol.get()).data());
}

/// Whether one of the molecules of an end is an ion though all together are none: in the gas phase
/// such pairs exist by the method's error more often than by nature.
bool isIonPair(const Species &species, const LewisStructure &end) {
    if (species.charge != 0) return false;
    for (const auto &fragment : fragmentsOf(species.elements.size(), graphOf(end.orders))) {
        int charge = 0;
        for (const int atom : fragment)
            charge += end.charges[static_cast<std::size_t>(atom)];
        if (charge != 0) return true;
    }
    return false;
}

/// Leave out those of a kind that are beyond its share of what is kept, the highest first.
template <class IsOfKind>
void keepShare(std::vector<ShippedRecord> &records, double share, const IsOfKind &isOfKind) {
    std::vector<std::pair<double, std::string>> ofKind;
    for (const auto &one : records)
        if (isOfKind(one.record)) ofKind.emplace_back(higherBarrier(one.record), one.name);
    const auto others = static_cast<double>(records.size() - ofKind.size());
    const auto most = static_cast<std::size_t>(others * share / (1.0 - share));
    std::sort(ofKind.begin(), ofKind.end());
    std::set<std::string> dropped;
    for (std::size_t i = most; i < ofKind.size(); ++i)
        dropped.insert(ofKind[i].second);
    std::erase_if(records, [&](const auto &one) { return dropped.contains(one.name); });
}

std::string sdfRecord(const ShippedRecord &one, const Structure &structure, double energy,
                      const std::string &more) {
    std::string text = molfile(Place{one.name}, one.name, structure.atoms, structure.bonds);
    text += field("ENERGY_HARTREE", formatted("%.8f", energy));
    text += field("LEVEL", method);
    text += field("REACTION", one.family);
    return text + more + sdRecordEnd + "\n";
}

Json sideRecord(const ShippedRecord &one, std::uint64_t seed) {
    Json side{{"name", one.name}, {"family", one.family}, {"centre", one.centre}};
    for (const auto &[key, value] : one.record.items())
        if (!value.is_structured() && key != "family") side[key] = value;
    side["method"] = method;
    side["program"] = "xtb 6.5.1, by its library";
    side["verification"] = "one imaginary mode (central differences); both ends by descents in "
                           "steps of 0.06 bohr, a kick and a tight minimum";
    side["seed"] = seed;
    side["licence"] = "CC0-1.0";
    return side;
}

void write(const std::string &path, const std::string &text) {
    OutputFile file(path);
    file.write(text);
    file.commit();
}

std::string pictureName(const ShippedRecord &one) {
    return one.family + ".svg";
}

struct FamilyCount {
    int tried = 0, known = 0, accepted = 0, others = 0;
    std::map<std::string, int> causes;
    std::vector<double> barriers; ///< the lower ones of those that are shipped, kcal/mol
    std::string example;          ///< the first of them
    std::string picture;          ///< of it
};

std::string barriersOf(const FamilyCount &count) {
    if (count.barriers.empty()) return {};
    const auto [low, high] = std::minmax_element(count.barriers.begin(), count.barriers.end());
    return formatted("%.0f to %.0f", *low, *high);
}

std::string causesOf(const FamilyCount &count) {
    std::vector<std::pair<int, std::string>> order;
    for (const auto &[cause, times] : count.causes)
        order.emplace_back(-times, cause);
    std::sort(order.begin(), order.end());
    std::string text;
    for (const auto &[times, cause] : order)
        text += (text.empty() ? "" : ", ") + cause + " " + std::to_string(-times);
    return text;
}

std::map<std::string, FamilyCount> countsOf(const Journal &journal,
                                            const std::vector<ShippedRecord> &shipped) {
    std::map<std::string, FamilyCount> counts;
    for (const auto &line : journal.lines()) {
        auto &count = counts[line.family];
        if (line.number < 0) continue;
        if (line.outcome == "known") {
            ++count.known;
            continue;
        }
        ++count.tried;
        count.accepted += line.outcome == "accepted" ? 1 : 0;
        count.others += line.outcome == "accepted as another" ? 1 : 0;
        if (!line.accepted()) ++count.causes[line.outcome];
    }
    for (const auto &one : shipped) {
        auto &count = counts[one.family];
        count.barriers.push_back(std::min(one.record.at("barrier_kcal").get<double>(),
                                          one.record.at("reverse_barrier_kcal").get<double>()));
        if (!count.example.empty()) continue;
        count.example = "`" + one.record.at("reactant_smiles").get<std::string>() + ">>" +
                        one.record.at("product_smiles").get<std::string>() + "`";
        count.picture = "![" + one.family + "](collection/" + pictureName(one) + ")";
    }
    return counts;
}

/// How many records have each of these elements at a bond that is made or broken.
std::map<int, int> elementsAtCentres(const std::vector<ShippedRecord> &shipped) {
    std::map<int, int> counts;
    for (const auto &one : shipped) {
        const auto saddle = saddleFrom(one.record);
        const auto changed =
            bondsChanged(graphOf(saddle.reactant.orders), graphOf(saddle.product.orders));
        std::set<int> elements;
        for (const auto *pairs : {&changed.made, &changed.broken})
            for (const auto &[a, b] : *pairs)
                for (const int atom : {a, b})
                    elements.insert(saddle.species.elements[static_cast<std::size_t>(atom)]);
        for (const int element : elements)
            ++counts[element];
    }
    return counts;
}

std::string figuresOf(const std::vector<ShippedRecord> &shipped) {
    std::set<std::string> centres;
    int ions = 0, carbenes = 0, high = 0;
    for (const auto &one : shipped) {
        centres.insert(one.centre);
        ions += one.record.at("charge").get<int>() != 0 ? 1 : 0;
        carbenes += one.record.at("carbenes").get<int>() > 0 ? 1 : 0;
        high += higherBarrier(one.record) > highBarrier ? 1 : 0;
    }
    std::string text =
        formatted("%zu reactions, %zu centres, %d ions, %d with a carbene end, %d with "
                  "a barrier above 100 kcal/mol. Elements at bonds that are made or "
                  "broken:",
                  shipped.size(), centres.size(), ions, carbenes, high);
    for (const auto &[element, count] : elementsAtCentres(shipped))
        text += " " + elementSymbol(element) + " " + std::to_string(count);
    return text + "\n";
}

} // namespace

std::vector<ShippedRecord> shippedFrom(const Journal &journal, const Withdrawn &withdrawn,
                                       const Quotas &quotas) {
    std::vector<ShippedRecord> records;
    std::map<std::string, std::size_t> taken; // by hash, where it stands
    const auto take = [&](const std::string &family, const Json &record) {
        const auto saddle = saddleFrom(record);
        const bool ions =
            isIonPair(saddle.species, saddle.reactant) || isIonPair(saddle.species, saddle.product);
        if (ions || withdrawn.contains(saddle.hash)) return;
        if (!taken.emplace(saddle.hash, records.size()).second) return;
        records.push_back(
            {family + " " + saddle.hash.substr(0, 8), family, centreOf(saddle), record});
    };
    std::size_t index = 0; // of the record that belongs to the line
    for (const auto &line : journal.lines()) {
        if (!line.hasRecord()) continue;
        const auto &record = journal.records()[index++];
        if (line.accepted()) take(line.family, record);
        const auto known = taken.find(line.hash);
        if (!line.accepted() && known != taken.end()) records[known->second].record = record;
    }
    keepShare(records, quotas.carbenes,
              [](const Json &one) { return one.at("carbenes").get<int>() > 0; });
    keepShare(records, quotas.high,
              [](const Json &one) { return higherBarrier(one) > highBarrier; });
    // Those with high barriers that went were carbenes less often than others.
    keepShare(records, quotas.carbenes,
              [](const Json &one) { return one.at("carbenes").get<int>() > 0; });
    return records;
}

void ship(const std::vector<ShippedRecord> &records, const std::string &folder,
          std::uint64_t seed) {
    std::string reactants, products, states, sides;
    for (const auto &one : records) {
        const auto saddle = saddleFrom(one.record);
        const auto mode = field("IMAGINARY_FREQUENCY_CM1", formatted("%.1f", saddle.wavenumber)) +
                          field("CHARGE", std::to_string(saddle.species.charge));
        const auto smiles = [&](const char *side) {
            return field("SMILES", one.record.at(side).get<std::string>());
        };
        reactants += sdfRecord(one, structureOf(saddle, saddle.reactant, saddle.atReactant),
                               saddle.reactantEnergy, smiles("reactant_smiles"));
        products += sdfRecord(one, structureOf(saddle, saddle.product, saddle.atProduct),
                              saddle.productEnergy, smiles("product_smiles"));
        states += sdfRecord(one, structureOf(saddle, saddle.reactant, saddle.atSaddle),
                            saddle.saddleEnergy, mode);
        sides += jsonText(sideRecord(one, seed)) + "\n";
    }
    write(folder + "/reactants.sdf", reactants);
    write(folder + "/products.sdf", products);
    write(folder + "/ts.sdf", states);
    write(folder + "/records.jsonl", sides);
}

void shipPictures(const std::vector<ShippedRecord> &records, const std::string &folder) {
    std::set<std::string> families;
    for (const auto &one : records)
        if (families.insert(one.family).second)
            write(folder + "/" + pictureName(one), pictureOf(saddleFrom(one.record)));
}

std::string tableOf(const Journal &journal, const std::vector<ShippedRecord> &shipped,
                    const Withdrawn &withdrawn) {
    std::string text =
        "| family | tried | accepted | as another | shipped | lower barrier | one of them | | "
        "known before | failures |\n|---|---|---|---|---|---|---|---|---|---|\n";
    FamilyCount all;
    const auto row = [&](const std::string &name, const FamilyCount &count) {
        text += formatted("| %s | %d | %d | %d | %zu | %s | %s | %s | %d | %s |\n", name.c_str(),
                          count.tried, count.accepted, count.others, count.barriers.size(),
                          barriersOf(count).c_str(), count.example.c_str(), count.picture.c_str(),
                          count.known, causesOf(count).c_str());
    };
    for (const auto &[family, count] : countsOf(journal, shipped)) {
        row(family, count);
        all.tried += count.tried;
        all.known += count.known;
        all.accepted += count.accepted;
        all.others += count.others;
        all.barriers.insert(all.barriers.end(), count.barriers.begin(), count.barriers.end());
        for (const auto &[cause, times] : count.causes)
            all.causes[cause] += times;
    }
    row("all", all);
    text += "\n" + figuresOf(shipped);
    if (!withdrawn.empty()) text += "\nWithdrawn after they had been accepted:\n\n";
    for (const auto &[hash, reason] : withdrawn)
        text += "* " + hash.substr(0, 8) + ": " + reason + "\n";
    return text;
}

} // namespace saddlefit::collection
