/// An output file that grows item by item and can be gone on with.
#pragma once

#include "cli/host.hpp"
#include "host/answers/pieces.hpp"
#include "host/system/descriptor.hpp"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::cli {

/// Where a streamed file begins.
enum class Begin {
    anew,  ///< empty; an unfinished file of an earlier run is lost
    resume ///< with the complete pieces of that one, or else of the target
};

/// Finds the complete pieces at the beginning of a text, which may be cut off anywhere.
using PieceScanner = std::function<std::vector<Piece>(std::string_view text)>;

/// Items that leave several pieces, each with all of its own. Whether the last one has all of them
/// does not show, so it is left out.
std::vector<Piece> wholeItems(const std::vector<Piece> &pieces);

/// What the pieces of an item are titled in a file; nothing if there is no such item.
using TitleOf = std::function<std::optional<std::string>(std::size_t item)>;

/// Pieces are appended to the file TARGET.part, which commit() renames over the target, unless
/// there are none to put in the place of what is there. Until then the target stays as it was, and
/// if there is no commit() the unfinished file stays beside it. A target that is no regular file (a
/// terminal, /dev/null), or "-" for the standard output, is written to directly and always begins
/// anew.
class StreamedFile {
public:
    /// Throws Error if the file cannot be made or read, if another run has it open, and if a
    /// file to resume holds something else than numbered pieces in ascending order, or pieces of
    /// other titles than `titleOf` gives, where it is given.
    StreamedFile(const std::string &target, const PieceScanner &scanner, Begin begin,
                 const TitleOf &titleOf = {});
    ~StreamedFile();
    StreamedFile(const StreamedFile &) = delete;
    StreamedFile &operator=(const StreamedFile &) = delete;

    void append(std::string_view piece);
    void commit();

    /// Whether it can be resumed at all.
    bool isRegular() const { return path_ != target_; }
    /// The last item it has a complete piece of, as it was opened; 0: none.
    std::size_t lastItem() const { return pieces_.empty() ? 0 : pieces_.back().item; }
    /// Drops the pieces of later items.
    void cutBehind(std::size_t item);

    /// In a new process: this file is its parent's.
    void leave() { file_.close(); }

private:
    void open();
    void cutAt(std::size_t size);

    std::string target_; ///< with symbolic links resolved, so that they stay links
    std::string path_;
    std::vector<Piece> pieces_;
    Descriptor file_;
};

/// Where a run goes on whose output these files are: cuts them to the pieces of the same items and
/// gives the last item that all of them are known to have completed; 0: begin at the beginning.
///
/// Every file grows in the order of the items, so one that holds a piece of item k has said all it
/// had to say about the items up to k. That an item left no piece is no sign of anything (failed
/// items leave none in some files), so the file that ends first decides, and what the others have
/// behind that is done again.
std::size_t resumeAfter(const std::vector<StreamedFile *> &files);

} // namespace saddlefit::cli
