#include "babel/formats.hpp"

#include "babel/log.hpp"
#include "babel/molecules.hpp"

#include <openbabel/mol.h>
#include <openbabel/obconversion.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <sstream>

namespace saddlefit::babel {

namespace {

using OpenBabel::OBConversion;
using OpenBabel::OBFormat;
using OpenBabel::OBMol;

template <std::size_t Count>
bool isOneOf(OBFormat *format, const std::array<const char *, Count> &ids) {
    return std::any_of(ids.begin(), ids.end(),
                       [&](const char *id) { return OBConversion::FindFormat(id) == format; });
}

/// Open Babel connects the atoms of such a format itself, unless it is told not to.
bool mayStayUnconnected(OBFormat *format) {
    return std::strstr(format->Description(), "isable bonding") != nullptr;
}

/// Formats that give coordinates alone are those, save these, which may name bonds.
bool lacksBonds(OBFormat *format) {
    constexpr std::array<const char *, 5> withBonds{"pdb", "pqr", "cif", "mmcif", "car"};
    return mayStayUnconnected(format) && !isOneOf(format, withBonds);
}

bool isSmiles(OBFormat *format) {
    constexpr std::array<const char *, 2> ids{"smi", "can"};
    return isOneOf(format, ids);
}

OBFormat *readableFormat(const Read &request) {
    bool compressed = false;
    auto *format = request.format.empty() ? OBConversion::FormatFromExt(request.file, compressed)
                                          : OBConversion::FindFormat(request.format.c_str());
    if (compressed) throw Failure{FailureKind::compressedFile, {}, {}};
    if (format == nullptr) throw Failure{FailureKind::unknownFormat, {}, {}};
    if ((format->Flags() & NOTREADABLE) != 0) throw Failure{FailureKind::notReadable, {}, {}};
    return format;
}

/// Read() answers false at the end and for a broken record alike. It was a broken one if something
/// was read of it all the same, or if Open Babel had something to complain about. Closing lines,
/// such as END in PDB files, come as a last record without atoms.
bool atEnd(bool complete, const OBMol &mol, const Log &log, std::istream &stream) {
    if (mol.NumAtoms() > 0) return false;
    return complete ? (stream >> std::ws).eof() : log.complaint().empty();
}

} // namespace

void listFormats(Link &link, const ListFormats &) {
    OpenBabel::OBPlugin::LoadAllPlugins();
    OpenBabel::OBPlugin::PluginIterator entry;
    for (entry = OpenBabel::OBPlugin::Begin("formats");
         entry != OpenBabel::OBPlugin::End("formats"); ++entry) {
        auto *format = dynamic_cast<OBFormat *>(entry->second);
        if (format == nullptr) continue;
        const std::string description = format->Description();
        link.send(FrameKind::part,
                  Format{entry->first, description.substr(0, description.find('\n')),
                         (format->Flags() & NOTREADABLE) == 0,
                         (format->Flags() & NOTWRITABLE) == 0});
    }
    link.send(FrameKind::done, Nothing{});
}

void read(Link &link, const Read &request) {
    auto *format = readableFormat(request);
    const bool hasBonds = request.wantsBonds && !lacksBonds(format);
    std::istringstream stream(request.bytes);
    OBConversion conversion(&stream);
    conversion.SetInFormat(format);
    if (!hasBonds && mayStayUnconnected(format)) {
        conversion.AddOption("b", OBConversion::INOPTIONS);
    }
    for (;;) {
        const Log log;
        OBMol mol;
        const bool complete = conversion.Read(&mol);
        if (atEnd(complete, mol, log, stream)) break;
        if (!complete) throw Failure{FailureKind::brokenInput, log.complaint(), mol.GetTitle()};
        link.send(FrameKind::part, messageOf(mol, hasBonds, false));
        if ((format->Flags() & READONEONLY) != 0) break; // a second time it may give the same
    }
    link.send(FrameKind::done, ReadEnd{hasBonds, isSmiles(format)});
}

void write(Link &link, const Write &request) {
    OBConversion conversion;
    auto *format = OBConversion::FindFormat(request.format.c_str());
    if (format == nullptr) throw Failure{FailureKind::unknownFormat, {}, {}};
    if ((format->Flags() & NOTWRITABLE) != 0) throw Failure{FailureKind::notWritable, {}, {}};
    std::ostringstream stream;
    conversion.SetOutFormat(format);
    conversion.SetOutStream(&stream);
    for (std::size_t i = 0; i < request.molecules.size(); ++i) {
        const Log log;
        OBMol mol;
        fill(mol, request.molecules[i]);
        finish(mol, request.molecules[i]);
        conversion.SetOutputIndex(static_cast<int>(i) + 1);
        conversion.SetLast(i + 1 == request.molecules.size());
        // Not Write(), which makes a document of its own of each molecule.
        if (!format->WriteMolecule(&mol, &conversion)) {
            throw Failure{FailureKind::brokenInput, log.complaint(), request.molecules[i].title};
        }
    }
    link.send(FrameKind::done, stream.str());
}

} // namespace saddlefit::babel
