/**
 * @file
 * Searching an open database: the best structures, and a report on every candidate.
 *
 *     ReactionDatabase *database = openReactionDatabase("reactions.db");
 *     Searcher *searcher = createSearcher();
 *     SearchOptions options = {0};
 *     options.best = 3;
 *     SearchResult *result = searchReactions(searcher, database, mol, &options);
 *     if (result && result->matchCount > 0 &&
 *         searcherStartOn(searcher, mol, &result->matches[0]) == 1) {
 *         ... the host works on the geometry ...
 *         searcherFinish(searcher, mol);
 *     }
 *     freeSearchResult(result);
 *     freeSearcher(searcher);
 *     closeReactionDatabase(database);
 *
 * The answers are those of C_startReaction() and C_finishReaction() (host.h, reaction.h) to the
 * last digit. Nothing here prints, and no file is written.
 *
 * Threads. A searcher holds all that a search and a reaction need between and during calls: the
 * held match, the scratch blocks, the line search and its settings, the function that may end a
 * search. So two threads with a searcher each run two reactions at once, and they may ask one
 * database. A searcher, a molecule and a result belong to one thread at a time. What all threads
 * share is only read here: the element tables (bonding.h), which nobody may write to while a search
 * is on.
 *
 * The functions of the other headers use what belongs to the process. From several threads call
 * those that keep anything (mapSub(), alignMapMols(), freezeSub(), mapDB(), C_startReaction(),
 * mlines_(), and C_freeMolecule(), which releases scratch blocks) inside withSearcher(), or not at
 * once. freeMol() keeps nothing.
 */
#ifndef SADDLEFIT_SEARCH_H
#define SADDLEFIT_SEARCH_H

#include "saddlefit/export.h"
#include "saddlefit/interrupt.h"
#include "saddlefit/molecule.h"

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- databases ------------------------------------------------------------------------------ */

/** Stored structures that are open for searching. */
typedef struct ReactionDatabase ReactionDatabase;

/**
 * Open a database file.
 *
 * A record whose counts do not fit its block is damage, and as good as not there.
 *
 * Each search answers as if it read the file then: it may be written to, or replaced by another,
 * while it is open, and one that cannot be opened any more holds nothing. The first search goes
 * through the whole file and notes which records bear which transition code; later ones read what
 * they need. The notes are kept as long as device, inode, size and both times of the file stay the
 * same, and are made only if those times lie further back than the clock's step. Not seen are
 * writes through a shared mapping, a network file system that answers with old times, and times
 * that were set back: open such a file anew.
 *
 * @param path  Database file.
 * @return      The database, to be closed with closeReactionDatabase(); NULL if the file cannot be
 *              opened or there is no memory.
 */
SADDLEFIT_API ReactionDatabase *openReactionDatabase(const char *path);

/**
 * Open a database in memory, laid out as a file is.
 *
 * @param bytes  Copied.
 * @param size   Their number.
 * @return       The database; NULL if there is no memory.
 */
SADDLEFIT_API ReactionDatabase *openReactionBytes(const void *bytes, size_t size);

/**
 * Make a database of molecules, which need not stand in any file.
 *
 * They have their transition-state bonds (applyTransition()), and each answers for the code of its
 * own transitions. Records are counted from 0 in the order of the array.
 *
 * @param molecules  Taken over in every case: the database releases them. The array itself is the
 *                   caller's.
 * @param count      Their number.
 * @return           The database; NULL if there is no memory.
 */
SADDLEFIT_API ReactionDatabase *openReactionMolecules(Molecule **molecules, int count);

/** Close a database. @param database  NULL does nothing. */
SADDLEFIT_API void closeReactionDatabase(ReactionDatabase *database);

/**
 * Takes a stored structure.
 *
 * @param structure  With its name; the function's, to be released with freeMol().
 * @param record     Ordinal of its record.
 * @param context    As handed over.
 * @return           0 to go on; anything else ends the walk.
 */
typedef int (*StructureVisitor)(Molecule *structure, int record, void *context);

/**
 * Walk over stored structures, in file order.
 *
 * @param database  Database.
 * @param code      0-terminated transition code (getTransitionCode()); NULL for all structures.
 * @param visit     Called for each; must not throw.
 * @param context   Handed on to it.
 * @return          Number of structures that it was called for. The walk ends before its time if
 *                  the memory does not hold a record.
 */
SADDLEFIT_API int visitReactions(const ReactionDatabase *database, const int *code,
                                 StructureVisitor visit, void *context);

/**
 * Tell whether searches and walks have seen the whole file.
 *
 * @param database  Database; NULL gives 0.
 * @return          How many of them, since it was opened, could not open the file or read it to its
 *                  end: they count as if the file had ended there. One before and after which the
 *                  number is the same has seen all.
 */
SADDLEFIT_API int reactionDatabaseFailures(const ReactionDatabase *database);

/* ---- reports -------------------------------------------------------------------------------- */

/** Classes of candidates, the better ones first: see mapDB(). */
typedef enum SearchClass {
    SEARCH_CLASS_UNKNOWN = -1, /**< the search did not get as far as that */
    SEARCH_CLASS_EXACT = 0,    /**< the same heavy atoms outside of the reaction centre */
    SEARCH_CLASS_SUPER = 1,    /**< more of some element, fewer of none */
    SEARCH_CLASS_SUB = 2,      /**< the same, but they do not map completely */
    SEARCH_CLASS_NONE = 3      /**< fewer of some element, or too few of them map */
} SearchClass;

/** Name a class: "exact", "super", "sub", "none"; "" for any other value. */
SADDLEFIT_API const char *searchClassName(int searchClass);

/** How far a candidate comes, in the order of the steps. */
typedef enum SearchStage {
    SEARCH_LEFT_OUT,      /**< on the caller's list */
    SEARCH_NOT_FINITE,    /**< left out as damaged: coordinates */
    SEARCH_DAMAGED,       /**< left out as damaged: bonds, or its transitions have another code */
    SEARCH_NOT_REACHED,   /**< an exact match or the host ended the search before */
    SEARCH_ELEMENTS,      /**< an element beyond 254 */
    SEARCH_COMPOSITION,   /**< its class is worse by composition */
    SEARCH_WEIGHT_BEFORE, /**< its weight is lower by elements */
    SEARCH_MAPPING,       /**< nothing of it maps, or no memory for it */
    SEARCH_CLASS_AFTER,   /**< its class is worse by mapping */
    SEARCH_WEIGHT_AFTER,  /**< its weight is lower by mapping */
    SEARCH_CONTEST,       /**< another one of its class and weight, or better, superposes better */
    SEARCH_CHOSEN,        /**< the best */
    SEARCH_EXACT          /**< maps completely, which ends the search at once */
} SearchStage;

/**
 * What is known of a candidate, a stored structure with the molecule's code.
 *
 * `stage` is that of the search among all candidates. The figures are filled in as far as any
 * search of the call came with it: each is what it would be if the candidate were alone.
 */
typedef struct CandidateReport {
    char *name;              /**< of the record; NULL if it has none */
    int record;              /**< ordinal among the blocks that are not free, from 0 */
    SearchStage stage;       /**< where the search dropped it */
    SearchClass classBefore; /**< by composition */
    int score;               /**< atoms that could be mapped */
    int weightBefore;        /**< of the neighbourhood, by elements */
    SearchClass classAfter;  /**< by mapping */
    int depth;               /**< atoms that are mapped */
    int weightAfter;         /**< of the neighbourhood, by mapping */
    int solutionCount;       /**< mappings of that depth that were kept, 12 at most */
    int *partners;           /**< by atom of the molecule, in the first of them; negative for none.
                                  NULL if nothing was mapped */
    double misfit;           /**< least of those that were measured, angstrom; negative if none was:
                                  solutions that cannot win are not */
    int onMirrorImage;       /**< 1 if that one is a mapping onto the mirror image */
} CandidateReport;

/** A structure that was chosen, laid on the molecule's reaction centre. */
typedef struct SearchMatch {
    int candidate;       /**< position in SearchResult.candidates */
    int exact;           /**< 1 if all atoms map: the structure's coordinates are the answer */
    int mirrored;        /**< 1 if the structure differs in handedness from the stored one */
    double misfit;       /**< of the reaction centre's atoms, angstrom; 0 if it is exact */
    Molecule *structure; /**< in place, in the frame of the molecule's reaction centre; an exact one
                              where it was stored, or mirrored there */
    int atomCount;       /**< of the molecule that was searched for */
    int *map;            /**< by atom of the molecule: its partner in the structure, -1 for none.
                              Only atoms of the reaction centre have partners, or all if it is exact */
} SearchMatch;

/** What searchReactions() finds. */
typedef struct SearchResult {
    int atomCount;               /**< of the molecule */
    int candidateCount;          /**< structures with its code, those left out included */
    CandidateReport *candidates; /**< in file order */
    int matchCount;
    SearchMatch *matches; /**< best first */
    int interrupted;      /**< 1 if the host ended the search; the matches before that stand */
} SearchResult;

/** Release a result with all that hangs on it. @param result  NULL does nothing. */
SADDLEFIT_API void freeSearchResult(SearchResult *result);

/* ---- searching ------------------------------------------------------------------------------ */

/** What searches and reactions keep between calls; one reaction at a time. */
typedef struct Searcher Searcher;

/** Make a searcher. @return  To be released with freeSearcher(); NULL if there is no memory. */
SADDLEFIT_API Searcher *createSearcher(void);

/** Release a searcher, with the match that it may hold. @param searcher  NULL does nothing. */
SADDLEFIT_API void freeSearcher(Searcher *searcher);

/**
 * Name the function that may end a searcher's long search before its time: see interrupt.h.
 *
 * @param searcher  Searcher.
 * @param callback  Function to ask, in the thread that searches; NULL to ask nobody.
 * @param context   Handed on to it.
 */
SADDLEFIT_API void setSearcherInterrupt(Searcher *searcher, InterruptCallback callback,
                                        void *context);

/**
 * Run something with a searcher's state in place of that of the process: whatever functions of the
 * library it calls on this thread, they keep nothing outside of the searcher.
 *
 * @param searcher  Searcher.
 * @param work      Called once.
 * @param context   Handed on to it.
 * @return          What `work` answers; 0 for a NULL argument.
 */
SADDLEFIT_API int withSearcher(Searcher *searcher, int (*work)(void *context), void *context);

/** What to search for. All zero: the best structure, among all candidates. */
typedef struct SearchOptions {
    int best;      /**< matches wanted; 0 counts as 1 */
    int soundOnly; /**< 1 leaves out damaged records: coordinates that are not finite, bond atoms
                        that no record could have, transitions of another code */
    const int *leftOut; /**< ordinals of records that are left out, in any order */
    int leftOutCount;
} SearchOptions;

/**
 * Find the stored structures that fit a molecule's reaction best.
 *
 * The first match is that of mapDB(). Each further one is what mapDB() would find if the database
 * were without those before it, and none follows an exact one. What one search learned of a
 * candidate the next one uses, so that further matches cost little.
 *
 * @param searcher  Searcher. A match that it holds stays held.
 * @param database  Database.
 * @param mol       Molecule as for C_startReaction(), before its transitions are applied; not
 *                  changed.
 * @param options   NULL for the best among all.
 * @return          The result, to be released with freeSearchResult(). Without transitions there
 *                  are no candidates. NULL for a NULL argument or if there is no memory.
 */
SADDLEFIT_API SearchResult *searchReactions(Searcher *searcher, const ReactionDatabase *database,
                                            const Molecule *mol, const SearchOptions *options);

/* ---- a reaction from start to finish -------------------------------------------------------- */

/**
 * Start a reaction as startReaction() does, on an open database.
 *
 * @param searcher  Searcher; holds a partial match from now on.
 * @param mol       Molecule, which is changed as startReaction() says.
 * @param database  Database; NULL for none.
 * @return          0 if an exact match was found: the coordinates are final; 1 otherwise, also for
 *                  a NULL searcher or molecule, and then nothing is done.
 */
SADDLEFIT_API int searcherStart(Searcher *searcher, Molecule *mol,
                                const ReactionDatabase *database);

/**
 * Start a reaction on a match that was found: searcherStart() without another search.
 *
 * @param searcher  Any searcher; holds a copy of the match from now on.
 * @param mol       The molecule that was searched for, or one like it.
 * @param match     Of a result of searchReactions() for it; not changed.
 * @return          0 if the match is exact: the coordinates are final; 1 if it is partial and held.
 *                  -1 for a NULL argument or if the molecule has another number of atoms than the
 *                  one that was searched for: nothing is done. -1, too, if there is no memory: the
 *                  molecule may have its transitions applied, and what was held stays held.
 */
SADDLEFIT_API int searcherStartOn(Searcher *searcher, Molecule *mol, const SearchMatch *match);

/**
 * Place the reaction centre on the held match and release it: see finishReaction().
 *
 * @param searcher  Searcher.
 * @param mol       The molecule that was started.
 * @return          1; 0 if no match is held or for a NULL argument, and then nothing changes.
 */
SADDLEFIT_API int searcherFinish(Searcher *searcher, Molecule *mol);

#ifdef __cplusplus
}
#endif

#endif
