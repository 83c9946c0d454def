"""Output files written in one step: a reader sees the old file or the whole
new one, never a part."""

from __future__ import annotations

import contextlib
import os
import tempfile
from pathlib import Path


@contextlib.contextmanager
def atomic_open(path, mode: str = "w"):
    """A file object (text ``"w"``, UTF-8 with ``\\n`` lines, or binary
    ``"wb"``) on a temporary file beside ``path``; on a normal exit it is
    flushed to disk and renamed over ``path``, on an error removed."""
    target = Path(path)
    fd, temp = tempfile.mkstemp(prefix=f".{target.name}.", suffix=".part",
                                dir=target.parent if str(target.parent) else ".")
    try:
        _set_mode(temp, target)
        text = {} if "b" in mode else {"encoding": "utf-8", "newline": "\n"}
        with os.fdopen(fd, mode, **text) as out:
            yield out
            out.flush()
            os.fsync(out.fileno())
        os.replace(temp, target)
    except BaseException:
        try:
            os.unlink(temp)
        except OSError:
            pass
        raise


def _set_mode(temp: str, target: Path) -> None:
    """The new file gets the old one's permissions, or those of a file made
    by open() (0666 less the umask) -- not mkstemp's private 0600."""
    try:
        mode = target.stat().st_mode & 0o7777
    except OSError:
        mask = os.umask(0o022)
        os.umask(mask)
        mode = 0o666 & ~mask
    os.chmod(temp, mode)


def atomic_write_text(path, text: str) -> None:
    """Writes ``text`` (UTF-8) to a temporary file beside ``path``, flushes
    it to disk and renames it over ``path``."""
    with atomic_open(path) as out:
        out.write(text)
