# SPDX-License-Identifier: Apache-2.0
"""What type checkers see of the package is what it has."""
import ast
import importlib.resources

import srcwatch
from srcwatch import _srcwatch


def test_the_stub_declares_what_the_extension_has() -> None:
    stub = ast.parse(importlib.resources.files(srcwatch).joinpath("_srcwatch.pyi").read_text(encoding="utf-8"))
    declared: set[str] = set()
    for definition in stub.body:
        if isinstance(definition, ast.ClassDef) and definition.name == "_Lib":
            for member in definition.body:
                if isinstance(member, ast.AnnAssign) and isinstance(member.target, ast.Name):
                    declared.add(member.target.id)
                elif isinstance(member, ast.FunctionDef):
                    declared.add(member.name)

    assert declared == set(dir(_srcwatch.lib))


def test_the_extension_uses_the_stable_interface_only() -> None:
    assert _srcwatch.__file__ is not None
    assert _srcwatch.__file__.endswith(".abi3.so")


def test_all_that_is_public_is_described() -> None:
    for name in set(srcwatch.__all__) - {"Event", "OPTICAL_PORT"}:
        assert getattr(srcwatch, name).__doc__, name
