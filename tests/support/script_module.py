"""Loads a program as a module, so that tests can call its parts."""

from __future__ import annotations

import importlib.machinery
import importlib.util
import sys
from pathlib import Path
from types import ModuleType


def load_script(path: Path) -> ModuleType:
    """The program at this path under its own name, whether that ends in .py or not. Nothing is left beside it."""
    sys.dont_write_bytecode = True
    loader = importlib.machinery.SourceFileLoader(path.stem.replace("-", "_"), str(path))
    spec = importlib.util.spec_from_loader(loader.name, loader)
    assert spec is not None
    module = importlib.util.module_from_spec(spec)
    sys.modules[loader.name] = module  # dataclasses look their module up
    loader.exec_module(module)
    return module
