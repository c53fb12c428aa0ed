#include "host/store/side_record.hpp"

#include "host/structures/elements.hpp"
#include "host/system/error.hpp"

#include <cmath>

namespace saddlefit::host {

namespace {

constexpr std::size_t digestLength = 32;

// ---- both ways ----------------------------------------------------------------------------------

// A table of all members but the nested ones, so that writer and reader have the same.
template <class Record, class Visit> void forEachText(Record &record, Visit visit) {
    visit("level", record.level);
    visit("program", record.program);
    visit("verified", record.verified);
    visit("source", record.source);
    visit("licence", record.licence);
    visit("date", record.date);
    visit("family", record.family);
}

template <class Record, class Visit> void forEachFigure(Record &record, Visit visit) {
    visit("charge", record.charge);
    visit("unpaired", record.unpaired);
    visit("energy", record.energy);
    visit("barrier", record.barrier);
    visit("reverseBarrier", record.reverseBarrier);
    visit("wavenumber", record.wavenumber);
}

// ---- to a line ----------------------------------------------------------------------------------

// What files of structures have at most; -0 becomes 0.
double rounded(double coordinate) {
    constexpr double steps = 1e6;
    return std::round(coordinate * steps) / steps + 0.0;
}

Json positionsAsJson(const std::vector<Position> &positions) {
    Json list = Json::array();
    for (const auto &[x, y, z] : positions)
        list.push_back({rounded(x), rounded(y), rounded(z)});
    return list;
}

Json bondsAsJson(const std::vector<StructureBond> &bonds) {
    Json list = Json::array();
    for (const auto &[atom1, atom2, type] : bonds)
        list.push_back({atom1 + 1, atom2 + 1, type});
    return list;
}

Json sideAsJson(const StoredSide &side) {
    Json object = Json::object();
    if (!side.smiles.empty()) object["smiles"] = side.smiles;
    if (side.energy) object["energy"] = *side.energy;
    if (!side.charges.empty()) object["charges"] = side.charges;
    if (!side.bonds.empty()) object["bonds"] = bondsAsJson(side.bonds);
    if (!side.positions.empty()) object["positions"] = positionsAsJson(side.positions);
    return object;
}

Json symbolsOf(const std::vector<int> &elements) {
    Json list = Json::array();
    for (const int element : elements)
        list.push_back(elementSymbol(element));
    return list;
}

// ---- from a line --------------------------------------------------------------------------------

// Takes members out of an object, so that what is left is others'.
class Members {
public:
    explicit Members(Json &object) : object_(object) {}

    template <class Value> void take(const char *name, Value &value) {
        const auto found = object_.find(name);
        if (found == object_.end()) return;
        value = found->get<Value>();
        object_.erase(found);
    }
    template <class Value> void take(const char *name, std::optional<Value> &value) {
        const auto found = object_.find(name);
        if (found == object_.end()) return;
        if (!found->is_null()) value = found->template get<Value>();
        object_.erase(found);
    }
    Json taken(const char *name) {
        Json value;
        take(name, value);
        return value;
    }

private:
    Json &object_;
};

void requireAtoms(const StructureBond &bond, std::size_t count) {
    const auto isAtom = [&](int atom) {
        return atom >= 0 && static_cast<std::size_t>(atom) < count;
    };
    if (isAtom(bond.atom1) && isAtom(bond.atom2) && bond.type >= 0 && bond.type <= aromaticType)
        return;
    throw Error("a bond names an atom or a type that there is not");
}

StoredSide sideIn(Json object, std::size_t atoms) {
    StoredSide side;
    if (object.is_null()) return side;
    Members members(object);
    members.take("smiles", side.smiles);
    members.take("energy", side.energy);
    members.take("charges", side.charges);
    for (const auto &bond : members.taken("bonds")) {
        side.bonds.push_back(
            {bond.at(0).get<int>() - 1, bond.at(1).get<int>() - 1, bond.at(2).get<int>()});
        requireAtoms(side.bonds.back(), atoms);
    }
    for (const auto &at : members.taken("positions"))
        side.positions.push_back(
            {at.at(0).get<double>(), at.at(1).get<double>(), at.at(2).get<double>()});
    const auto fits = [&](const auto &list) { return list.empty() || list.size() == atoms; };
    if (fits(side.positions) && fits(side.charges)) return side;
    throw Error("a side has another number of atoms than there are elements");
}

Quality qualityCalled(std::string_view word) {
    if (const auto quality = valueNamed<Quality>(word)) return *quality;
    throw Error("the quality is neither \"guarded\" nor \"refused\"");
}

SideRecord recordOf(Json object) {
    SideRecord record;
    Members members(object);
    std::string quality;
    members.take("digest", record.digest);
    members.take("quality", quality);
    record.quality = qualityCalled(quality);
    members.take("name", record.name);
    members.take("objections", record.objections);
    forEachText(record, [&](const char *name, auto &value) { members.take(name, value); });
    forEachFigure(record, [&](const char *name, auto &value) { members.take(name, value); });
    for (const auto &symbol : members.taken("elements"))
        record.elements.push_back(elementNumber(symbol.get<std::string>()));
    record.reactant = sideIn(members.taken("reactant"), record.elements.size());
    record.product = sideIn(members.taken("product"), record.elements.size());
    record.others = std::move(object);
    if (record.digest.size() == digestLength) return record;
    throw Error("it has no digest of a record");
}

std::string_view taken(std::string_view &text, std::size_t size) {
    const auto part = text.substr(0, size);
    text.remove_prefix(part.size());
    return part;
}

// Of a line as sideLine() begins it; nothing for any other, and for a name with escapes.
std::optional<SideLineHead> plainHead(std::string_view line) {
    SideLineHead head;
    if (taken(line, 11) != R"({"digest":")") return std::nullopt;
    head.digest = taken(line, digestLength);
    if (taken(line, 13) != R"(","quality":")") return std::nullopt;
    const auto quality = valueNamed<Quality>(taken(line, line.find('"')));
    if (!quality || taken(line, 10) != R"(","name":")") return std::nullopt;
    head.quality = *quality;
    head.name = taken(line, line.find('"'));
    if (line.empty() || head.name.find('\\') != std::string::npos) return std::nullopt;
    return head;
}

} // namespace

std::string sideLine(const SideRecord &record) {
    Json object{
        {"digest", record.digest}, {"quality", wordOf(record.quality)}, {"name", record.name}};
    if (!record.objections.empty()) object["objections"] = record.objections;
    forEachText(record, [&](const char *name, const std::string &value) {
        if (!value.empty()) object[name] = value;
    });
    forEachFigure(record, [&](const char *name, const auto &value) {
        if (value) object[name] = *value;
    });
    for (const auto &[name, value] : record.others.items())
        object[name] = value;
    if (!record.elements.empty()) object["elements"] = symbolsOf(record.elements);
    const auto addSide = [&](const char *name, const StoredSide &side) {
        auto members = sideAsJson(side);
        if (!members.empty()) object[name] = std::move(members);
    };
    addSide("reactant", record.reactant);
    addSide("product", record.product);
    return jsonText(object);
}

SideRecord sideRecordIn(std::string_view line) {
    try {
        return recordOf(Json::parse(line));
    } catch (const Json::exception &error) {
        throw Error(std::string("it cannot be read (") + error.what() + ")");
    }
}

SideLineHead sideLineHead(std::string_view line) {
    if (auto head = plainHead(line)) return std::move(*head);
    const auto record = sideRecordIn(line);
    return {record.digest, record.quality, record.name};
}

} // namespace saddlefit::host
