"""A sweep plan: channels times settings, each pair one ``zefra-tdr link``
case (docs/sweep.md).

A plan is a YAML or TOML file (or the same content as a dict)::

    channels:                       # one entry per group of channels
      - thru: lanes/{lane}_thru.s4p # a glob; {NAME} is a '*' that names the part it matches
        xtalk: ["lanes/{lane}_next*.s4p"] # globs, {lane} replaced first (quoted in [...])
        order: 1-3/2-4              # or port_map: "1,2:3,4"
      - thru: default               # the channel shipped with the package
    settings:                       # one grid (or a list of grids): every combination
      dfe: [0, 2, 4]
      noise_rms: [0.3e-3, 0.5e-3]
      baud: 53.125GHz               # YAML reads 53.125e9 (no dot) as text: both work
    outputs:
      jsonl: results.jsonl          # the journal (always written)
      csv: results.csv
      plot: eh_vs_loss.png

Each setting value is a ``zefra-tdr link`` option without its dashes
(``target_ber`` is ``--target-ber``), in the option's own units; a list
gives the grid's values.  Relative paths are relative to the plan's folder.
A case's command line is the ``zefra-tdr link`` command that computes the
same row when run alone.
"""

from __future__ import annotations

import dataclasses
import glob
import hashlib
import itertools
import json
import os
import re
import shlex
from pathlib import Path

__all__ = ["Case", "Channel", "Plan", "SETTING_OPTIONS", "load_plan", "setting_label"]

#: Setting key -> ``zefra-tdr link`` option.
SETTING_OPTIONS = {
    "baud": "--baud", "levels": "--levels", "target_ber": "--target-ber",
    "samples_per_ui": "--samples-per-ui", "ctle": "--ctle", "ffe": "--ffe",
    "ffe_main": "--ffe-main", "dfe": "--dfe", "dfe_floating": "--dfe-floating",
    "dfe_limit": "--dfe-limit", "noise_rms": "--noise-rms", "dj": "--dj", "rj": "--rj",
    "eh_min": "--eh-min", "bin_mv": "--bin-mv", "search_bin_mv": "--search-bin-mv",
    "xtalk_sync": "--xtalk-sync", "xtalk_offset": "--xtalk-offset",
}
_CHANNEL_KEYS = ("thru", "xtalk", "order", "port_map", "name")
_OUTPUT_KEYS = ("jsonl", "csv", "parquet", "plot")
_TOP_KEYS = ("channels", "settings", "outputs")
_MAX_CASES = 1_000_000


@dataclasses.dataclass(frozen=True)
class Channel:
    """One channel: its through file (or ``"default"``), its crosstalk
    files and how its through is taken."""

    name: str
    thru: str
    xtalk: tuple[str, ...] = ()
    order: str | None = None
    port_map: str | None = None

    def files(self) -> list[str]:
        from .default_channel import default_channel_path

        thru = str(default_channel_path()) if self.thru == "default" else self.thru
        return [thru, *self.xtalk]


@dataclasses.dataclass(frozen=True)
class Case:
    """One (channel, setting) pair and the ``zefra-tdr link`` arguments that
    compute it."""

    index: int
    channel_index: int
    setting_index: int
    channel: Channel
    setting: dict
    argv: tuple[str, ...]

    @property
    def case_id(self) -> str:
        """A digest of the channel and the option values: equal for equal
        cases in any plan, whatever the order the options are written in."""
        c = self.channel
        key = [c.thru, list(c.xtalk), c.order, c.port_map,
               sorted((k, _text(v)) for k, v in self.setting.items())]
        text = json.dumps(key, separators=(",", ":"))
        return hashlib.sha256(text.encode()).hexdigest()[:20]

    @property
    def command_line(self) -> str:
        return shlex.join(["zefra-tdr", *self.argv])


@dataclasses.dataclass(frozen=True)
class Plan:
    """A checked plan: every case in order (channel-major), and the output
    paths."""

    channels: tuple[Channel, ...]
    settings: tuple[dict, ...]
    cases: tuple[Case, ...]
    outputs: dict
    source: str


class PlanError(ValueError):
    """A plan that cannot be run; the message names the plan and the key."""


def load_plan(plan, *, base_dir=None) -> Plan:
    """Reads (a path: ``.yaml``/``.yml`` or ``.toml``) or takes (a dict) a
    plan and expands it into its cases.  Raises :class:`PlanError` (a
    ``ValueError``) naming the key at fault."""
    if isinstance(plan, (str, os.PathLike)):
        path = Path(plan)
        data = _read(path)
        source = str(path)
        base = path.resolve().parent if base_dir is None else Path(base_dir)
    elif isinstance(plan, dict):
        data, source = plan, "plan"
        base = Path.cwd() if base_dir is None else Path(base_dir)
    else:
        raise PlanError(f"a plan is a file path or a dict, not {type(plan).__name__}")
    if not isinstance(data, dict):
        raise PlanError(f"{source}: expected a mapping with keys {', '.join(_TOP_KEYS)}")
    _known(data, _TOP_KEYS, source, "the plan")
    channels = _channels(data.get("channels"), base, source)
    settings = _settings(data.get("settings", {}), source)
    if len(channels) * len(settings) > _MAX_CASES:
        raise PlanError(f"{source}: {len(channels)} channels x {len(settings)} settings is more "
                        f"than {_MAX_CASES} cases")
    _check_options(channels[0], settings, source)
    cases, seen = [], {}
    for c, channel in enumerate(channels):
        for s, setting in enumerate(settings):
            case = Case(len(cases), c, s, channel, setting, _argv(channel, setting))
            if case.case_id in seen:
                first = seen[case.case_id]
                raise PlanError(f"{source}: settings {first.setting} and {setting} are the "
                                f"same case for channel {channel.name!r} (grids overlap); "
                                "give each case once")
            seen[case.case_id] = case
            cases.append(case)
    outputs = _outputs(data.get("outputs", {}), base, source)
    return Plan(tuple(channels), tuple(settings), tuple(cases), outputs, source)


def _read(path: Path) -> dict:
    suffix = path.suffix.lower()
    try:
        raw = path.read_bytes()
    except OSError as exc:
        raise OSError(f"{path}: cannot read the plan ({exc.strerror or exc})") from None
    if suffix in (".yaml", ".yml"):
        try:
            import yaml
        except ImportError:
            raise PlanError(f"{path}: YAML plans need PyYAML (apt-get install python3-yaml); "
                            "a .toml plan needs nothing more") from None
        try:
            return yaml.safe_load(raw.decode("utf-8"))
        except (yaml.YAMLError, UnicodeDecodeError) as exc:
            raise PlanError(f"{path}: not valid YAML: {' '.join(str(exc).split())}") from None
    if suffix == ".toml":
        try:
            import tomllib as toml_reader            # Python 3.11 and later
            error = toml_reader.TOMLDecodeError
        except ImportError:
            try:
                import toml as toml_reader           # python3-toml before 3.11
                error = toml_reader.TomlDecodeError
            except ImportError:
                raise PlanError(f"{path}: TOML plans need Python 3.11 or the toml package "
                                "(apt-get install python3-toml)") from None
        try:
            return toml_reader.loads(raw.decode("utf-8"))
        except (error, UnicodeDecodeError) as exc:
            raise PlanError(f"{path}: not valid TOML: {exc}") from None
    raise PlanError(f"{path}: a plan is a .yaml, .yml or .toml file")


def _known(mapping: dict, keys, source: str, where: str) -> None:
    unknown = [k for k in mapping if k not in keys]
    if unknown:
        raise PlanError(f"{source}: {where}: unknown key {unknown[0]!r}; expected "
                        f"{', '.join(keys)}")


# ---------------------------------------------------------------------------
# Channels
# ---------------------------------------------------------------------------

_NAMED = re.compile(r"\{([A-Za-z_][A-Za-z0-9_]*)\}")


def _glob_regex(pattern: str) -> re.Pattern:
    """The regular expression of a glob whose ``{NAME}`` parts are captured
    ('*' and '?' stay within one path component, [...] is a set)."""
    out, i = [], 0
    while i < len(pattern):
        ch = pattern[i]
        m = _NAMED.match(pattern, i)
        if m:
            out.append(f"(?P<{m.group(1)}>[^/]*)")
            i = m.end()
            continue
        if ch == "*":
            out.append("[^/]*")
        elif ch == "?":
            out.append("[^/]")
        elif ch == "[":
            end = pattern.find("]", i + 2)
            if end < 0:
                out.append(re.escape(ch))
            else:
                body = pattern[i + 1:end]
                body = "^" + body[1:] if body.startswith("!") else body
                out.append(f"[{body.replace(chr(92), chr(92) * 2)}]")
                i = end
        else:
            out.append(re.escape(ch))
        i += 1
    return re.compile("".join(out) + r"\Z")


def _expand(pattern: str, base: Path, source: str, key: str) -> list[tuple[str, dict]]:
    """Files matching ``pattern`` (sorted), each with its named parts."""
    absolute = pattern if os.path.isabs(pattern) else str(base / pattern)
    absolute = absolute.replace(os.sep, "/")
    names = _NAMED.findall(absolute)
    if len(set(names)) != len(names):
        raise PlanError(f"{source}: {key} {pattern!r}: each {{NAME}} may appear once")
    files = sorted(p.replace(os.sep, "/") for p in glob.glob(_NAMED.sub("*", absolute)))
    regex = _glob_regex(absolute)
    out = []
    for f in files:
        m = regex.match(f)
        if m is not None and os.path.isfile(f):
            out.append((f, m.groupdict()))
    return out


def _channels(entries, base: Path, source: str) -> list[Channel]:
    if not isinstance(entries, list) or not entries:
        raise PlanError(f"{source}: channels: expected a list of channel entries, each with "
                        "a thru glob (or thru: default)")
    channels = []
    for n, entry in enumerate(entries):
        where = f"channels[{n}]"
        if isinstance(entry, str):
            entry = {"thru": entry}
        if not isinstance(entry, dict) or not isinstance(entry.get("thru"), str):
            raise PlanError(f"{source}: {where}: expected a mapping with a thru glob")
        _known(entry, _CHANNEL_KEYS, source, where)
        xtalk = entry.get("xtalk", [])
        xtalk = [xtalk] if isinstance(xtalk, str) else xtalk
        if not isinstance(xtalk, list) or not all(isinstance(x, str) for x in xtalk):
            raise PlanError(f"{source}: {where}.xtalk: expected a glob or a list of globs")
        for key in ("order", "port_map", "name"):
            if entry.get(key) is not None and not isinstance(entry[key], str):
                raise PlanError(f"{source}: {where}.{key}: expected a string")
        common = {"order": entry.get("order"), "port_map": entry.get("port_map")}
        if entry["thru"] == "default":
            found = [("default", {})]
        else:
            found = _expand(entry["thru"], base, source, f"{where}.thru")
            if not found:
                raise PlanError(f"{source}: {where}.thru {entry['thru']!r}: no file matches")
        for thru, parts in found:
            files = []
            for pattern in xtalk:
                try:
                    filled = _NAMED.sub(lambda m: glob.escape(parts[m.group(1)]), pattern)
                except KeyError as exc:
                    raise PlanError(f"{source}: {where}.xtalk {pattern!r}: {{{exc.args[0]}}} "
                                    "is not a {NAME} of the thru glob") from None
                matched = [f for f, _ in _expand(filled, base, source, f"{where}.xtalk")]
                if not matched and not glob.has_magic(filled):
                    # A plain path names one file: if it is missing, the
                    # case says so in its row rather than run without it.
                    # A pattern with wildcards may match none (no aggressor).
                    matched = [filled if os.path.isabs(filled)
                               else str(base / filled).replace(os.sep, "/")]
                files.extend(matched)
            name = entry.get("name") or _channel_name(thru, parts)
            if entry.get("name") and len(found) > 1:
                name = f"{entry['name']}:{_channel_name(thru, parts)}"
            channels.append(Channel(name, thru, tuple(files), **common))
    names = [c.name for c in channels]
    if len(set(names)) != len(names):
        dup = next(x for x in names if names.count(x) > 1)
        raise PlanError(f"{source}: two channels are named {dup!r}; give each entry a name")
    return channels


def _channel_name(thru: str, parts: dict) -> str:
    if thru == "default":
        return "default"
    if parts:
        return ",".join(f"{k}={v}" for k, v in parts.items())
    return Path(thru).stem


# ---------------------------------------------------------------------------
# Settings
# ---------------------------------------------------------------------------

def _settings(grids, source: str) -> list[dict]:
    grids = [grids] if isinstance(grids, dict) else grids
    if not isinstance(grids, list) or not all(isinstance(g, dict) for g in grids):
        raise PlanError(f"{source}: settings: expected a mapping of option: value(s), or a "
                        "list of such grids")
    out: list[dict] = []
    for n, grid in enumerate(grids):
        where = "settings" if len(grids) == 1 else f"settings[{n}]"
        _known(grid, tuple(SETTING_OPTIONS), source, where)
        axes = []
        for key, value in grid.items():
            values = _grid_values(key, value, source, where)
            axes.append([(key, v) for v in values])
        for combo in itertools.product(*axes):
            out.append(dict(combo))
    return out or [{}]


def _grid_values(key: str, value, source: str, where: str) -> list:
    values = value if isinstance(value, list) else [value]
    if not values:
        raise PlanError(f"{source}: {where}.{key}: an empty list gives no case")
    if key == "ffe" and isinstance(value, list) and value and all(
            isinstance(v, (int, float)) and not isinstance(v, bool) for v in value):
        raise PlanError(f"{source}: {where}.ffe: a flat list of numbers is ambiguous; write "
                        "one tap list as a string \"-0.1,0.9,0\" or as a nested list "
                        "[[-0.1, 0.9, 0]]")
    checked = []
    for v in values:
        if key == "xtalk_sync":
            if not isinstance(v, bool):
                raise PlanError(f"{source}: {where}.xtalk_sync: expected true or false")
        elif isinstance(v, list):
            if key != "ffe" or not all(isinstance(t, (int, float)) and not isinstance(t, bool)
                                       for t in v):
                raise PlanError(f"{source}: {where}.{key}: {v!r} is not a value (only ffe "
                                "takes a list of taps)")
        elif isinstance(v, bool) or not isinstance(v, (int, float, str)):
            raise PlanError(f"{source}: {where}.{key}: {v!r} is not a number or a string")
        checked.append(v)
    return checked


def _check_options(channel: Channel, settings: list[dict], source: str) -> None:
    """Every setting's options as ``zefra-tdr link`` parses them, so that a
    value of the wrong type stops the plan before any case runs."""
    from .cli import parse_command

    for setting in settings:
        try:
            parse_command(_argv(channel, setting))
        except ValueError as exc:
            raise PlanError(f"{source}: settings {setting}: {exc}") from None


def setting_label(setting: dict, settings: list[dict]) -> str:
    """``key=value`` of the options whose value differs between
    ``settings`` (those that tell the settings apart)."""
    keys = [k for k in setting
            if len({json.dumps(s.get(k), sort_keys=True) for s in settings}) > 1]
    return " ".join(f"{k}={setting[k]}" for k in keys) or "(the one setting)"


def _text(value) -> str:
    """An option's text: shortest round-trip digits for floats, so that
    parsing gives the very same double."""
    if isinstance(value, float):
        return repr(value)
    if isinstance(value, list):
        return ",".join(_text(float(t)) for t in value)
    return str(value)


def _argv(channel: Channel, setting: dict) -> tuple[str, ...]:
    argv = ["link", channel.thru]
    for x in channel.xtalk:
        argv.append(f"--xtalk={x}")
    if channel.order is not None:
        argv.append(f"--order={channel.order}")
    if channel.port_map is not None:
        argv.append(f"--port-map={channel.port_map}")
    for key, value in setting.items():
        option = SETTING_OPTIONS[key]
        if key == "xtalk_sync":
            if value:
                argv.append(option)
        else:
            argv.append(f"{option}={_text(value)}")
    return tuple(argv)


# ---------------------------------------------------------------------------
# Outputs
# ---------------------------------------------------------------------------

def _outputs(outputs, base: Path, source: str) -> dict:
    if not isinstance(outputs, dict):
        raise PlanError(f"{source}: outputs: expected a mapping of {', '.join(_OUTPUT_KEYS)}")
    _known(outputs, _OUTPUT_KEYS, source, "outputs")
    stem = Path(source).stem if source != "plan" else "sweep"
    out = {"jsonl": f"{stem}.results.jsonl"} if "jsonl" not in outputs else {}
    if not outputs:
        out["csv"] = f"{stem}.results.csv"
    for key, value in outputs.items():
        if not isinstance(value, str) or not value:
            raise PlanError(f"{source}: outputs.{key}: expected a file path")
        out[key] = value
    return {k: str(Path(v) if os.path.isabs(v) else base / v) for k, v in out.items()}
