"""Transition-state guesses out of stored transition states.

>>> reactants, products = saddlefit.read("reactants.sdf"), saddlefit.read("products.sdf")
>>> with saddlefit.Database("reactions.db") as database:
...     for guess in saddlefit.react_many(zip(reactants, products), database):
...         print(guess.outcome, guess.match)
...         break
partial sn2-cl-ch3cl

Atoms count from 0 everywhere but in the JSON. Lengths are in angstrom. Nothing is printed.
"""

from ._database import Check, Damage, Database, Record
from ._errors import (Cancelled, DatabaseError, Error, InputError, LimitError, MachineError,
                      ProgramError, RefusedError)
from ._guess import Change, Constraint, Guess, Rival
from ._many import react_many
from ._pieces import (AtomMap, Superposition, Transitions, map_atoms, perceive, stereo, superpose,
                      transitions)
from ._react import react
from ._saddlefit import version as __version__
from ._structure import Records, Structure, read

__all__ = [
    "AtomMap", "Cancelled", "Change", "Check", "Constraint", "Damage", "Database", "DatabaseError",
    "Error", "Guess", "InputError", "LimitError", "MachineError", "ProgramError", "Record",
    "Records", "RefusedError", "Rival", "Structure", "Superposition", "Transitions", "map_atoms",
    "perceive", "react", "react_many", "read", "stereo", "superpose", "transitions", "__version__",
]
