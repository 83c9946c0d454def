"""Guard bytes around every output buffer the wrappers allocate.

The wrappers allocate the buffers the library fills through
``_buffers.new_double_output`` and ``_buffers.new_complex_output``.
:func:`guarded_outputs` replaces both, in every ``zefra_tdr`` module that
holds them, with versions that allocate a larger block filled with a
sentinel bit pattern and hand out the zero-filled middle of it; after the
call, :meth:`GuardedOutputs.assert_intact` checks that the bytes on both
sides still hold the sentinel, i.e. that the library wrote nothing outside
the buffer it was given.  Writes further away are left to valgrind (see
``run_under_valgrind.sh``).
"""

from __future__ import annotations

import contextlib
import importlib
import pkgutil

import numpy as np

import zefra_tdr
from zefra_tdr import _buffers

#: Guard bytes on each side of a buffer (a multiple of 16, the largest
#: element size).
GUARD_BYTES = 512

#: The sentinel, a signalling-NaN bit pattern that no arithmetic produces.
SENTINEL = np.uint64(0x7FF4_A5A5_DEAD_BEEF)

#: Largest buffer handed out (elements).  A legitimately larger output (a
#: centre grid far from zero) is refused with :class:`OutputTooLarge`.
MAX_ELEMENTS = 2**21

_WORDS = GUARD_BYTES // 8
_ALLOCATORS = ("new_double_output", "new_complex_output")


class OutputTooLarge(Exception):
    """A wrapper asked for more than :data:`MAX_ELEMENTS` elements."""


class GuardedOutputs:
    """Allocates guarded buffers and records them for the check."""

    def __init__(self) -> None:
        self.blocks: list[tuple[np.ndarray, int, int]] = []

    def allocator(self, dtype):
        words_per_element = np.dtype(dtype).itemsize // 8

        def allocate(n, name: str = "n") -> np.ndarray:
            count = _buffers.check_count(n, name).value  # the helpers' own checks
            if count > MAX_ELEMENTS:
                raise OutputTooLarge(f"{name} = {count}")
            start = _WORDS
            end = start + count * words_per_element
            block = np.full(end + _WORDS, SENTINEL, dtype=np.uint64)
            block[start:end] = 0
            self.blocks.append((block, start, end))
            return block[start:end].view(dtype)

        return allocate

    def assert_intact(self) -> None:
        for block, start, end in self.blocks:
            before = np.flatnonzero(block[:start] != SENTINEL)
            after = np.flatnonzero(block[end:] != SENTINEL)
            assert before.size == 0, (
                f"{8 * (start - before[0])} bytes before a buffer of {end - start} words "
                "were overwritten")
            assert after.size == 0, (
                f"{8 * (after[-1] + 1)} bytes after a buffer of {end - start} words "
                "were overwritten")


def _package_modules() -> list:
    modules = [zefra_tdr]
    for info in pkgutil.iter_modules(zefra_tdr.__path__):
        modules.append(importlib.import_module(f"zefra_tdr.{info.name}"))
    return modules


@contextlib.contextmanager
def guarded_outputs():
    """Within the block, the wrappers' output buffers carry guard bytes."""
    guards = GuardedOutputs()
    replacements = {
        "new_double_output": guards.allocator(np.float64),
        "new_complex_output": guards.allocator(np.complex128),
    }
    saved = []
    for module in _package_modules():
        for name in _ALLOCATORS:
            if hasattr(module, name):
                saved.append((module, name, getattr(module, name)))
                setattr(module, name, replacements[name])
    try:
        yield guards
    finally:
        for module, name, original in saved:
            setattr(module, name, original)
