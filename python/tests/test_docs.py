"""The examples of the docstrings are right, and there is one for whatever can be called."""

import doctest
import importlib
import inspect
import json
import re

import numpy as np
import pytest

import saddlefit
from conftest import DATA

MODULES = ["", "._database", "._guess", "._many", "._pieces", "._react", "._structure"]


@pytest.mark.parametrize("name", MODULES)
def test_examples(name):
    module = importlib.import_module("saddlefit" + name)
    known = {"saddlefit": saddlefit, "np": np, "json": json}
    runner = doctest.DocTestRunner(optionflags=doctest.IGNORE_EXCEPTION_DETAIL)
    tests = [test for test in doctest.DocTestFinder().find(module, globs=known)]
    for test in tests:
        runner.run(test)
    assert runner.failures == 0 and runner.tries > 0


@pytest.mark.parametrize("page", ["README.md", "docs/python.md"])
def test_what_the_pages_show_runs(page):
    text = (DATA.parent / page).read_text()
    for code in re.findall("^```python\n(.*?)^```", text, re.DOTALL | re.MULTILINE):
        exec(compile(code, page, "exec"), {})


def functions():
    for name in saddlefit.__all__:
        thing = getattr(saddlefit, name)
        if inspect.isfunction(thing):
            yield name, thing
        elif inspect.isclass(thing):
            for method, function in vars(thing).items():
                if inspect.isfunction(function) and not method.startswith("_"):
                    yield f"{name}.{method}", function


@pytest.mark.parametrize("name, function", list(functions()))
def test_each_function_has_an_example_and_names_its_parameters(name, function):
    text = inspect.getdoc(function)
    assert text and "Examples\n--------" in text
    for parameter in inspect.signature(function).parameters:
        assert parameter == "self" or parameter in text
