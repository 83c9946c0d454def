"""Output files written in one step: a reader sees the old file or the whole
new one, never a part."""

from __future__ import annotations

import os
import tempfile
from pathlib import Path


def atomic_write_text(path, text: str) -> None:
    """Writes ``text`` (UTF-8) to a temporary file beside ``path``, flushes
    it to disk and renames it over ``path``."""
    target = Path(path)
    fd, temp = tempfile.mkstemp(prefix=f".{target.name}.", suffix=".part",
                                dir=target.parent if str(target.parent) else ".")
    try:
        with os.fdopen(fd, "w", encoding="utf-8", newline="\n") as out:
            out.write(text)
            out.flush()
            os.fsync(out.fileno())
        os.replace(temp, target)
    except BaseException:
        try:
            os.unlink(temp)
        except OSError:
            pass
        raise
