/// A session of its own beside the process's.
#pragma once

#include "matching/candidates.hpp"
#include "molecule/current.hpp"
#include "molecule/interrupt.hpp"
#include "molecule/scratch.hpp"
#include "reaction/held_match.hpp"
#include "superpose/linesearch_state.hpp"

namespace saddlefit {

/// All that calls of the library keep between them. Threads that each work in a session of their
/// own do not meet, but for what they are handed: a molecule, a file, a stream. They share the
/// element tables, which nobody may write meanwhile, and standard output.
class Session {
public:
    Session() = default;
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    /// Until its end, every call on this thread works in the session: setInterrupt(), staticFree()
    /// and finishReaction() mean the session's, and tn003_ is left alone. One thread at a time may
    /// be in a session; scopes nest.
    class Scope {
    public:
        explicit Scope(Session &session)
            : scratch_(session.scratch_),
              pickers_(session.pickers_),
              interrupt_(session.interrupt_),
              lineSearch_(session.lineSearch_),
              held_(session.held_) {}

    private:
        Current<ScratchRegistry>::Scope scratch_;
        Current<PickerScratch>::Scope pickers_;
        Current<Interrupt>::Scope interrupt_;
        Current<LineSearchState>::Scope lineSearch_;
        Current<HeldMatch>::Scope held_;
    };

private:
    ScratchRegistry scratch_;
    PickerScratch pickers_;
    Interrupt interrupt_;
    LineSearchSettings settings_;
    LineSearchState lineSearch_{settings_};
    HeldMatch held_;
};

} // namespace saddlefit
