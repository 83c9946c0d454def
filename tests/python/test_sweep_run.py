"""Sweeps: each row is the bits of ``zefra-tdr link`` run alone on its
command line; one process, a process pool and a real Dask cluster write the
same bytes; a bad file is an error row and the sweep goes on; a killed
worker's tasks are run again; an interrupted sweep resumes to the same
output; outputs are whole files and whole rows."""

from __future__ import annotations

import csv
import io
import json
import signal
import subprocess
import sys
import time

import pytest

import zefra_tdr
from zefra_tdr.cli import main
from zefra_tdr._progress import Progress
from zefra_tdr.sweep_task import link_figures

from sweep_fixtures import (QUICK_SETTINGS, SLOW_SETTINGS, cli, cli_env, plan_dict,
                            write_lanes, write_plan)

# Dask's client starts its event loop the way tornado 6.2 deprecates.
pytestmark = pytest.mark.filterwarnings("ignore:make_current is deprecated:DeprecationWarning")

# The slow plan: 3 lanes x 4 settings, each case a 156-candidate search
# (about 0.8 s on one core), so that a run can be stopped part-way.
SLOW = dict(SLOW_SETTINGS, levels=[2, 4], dfe=[0, 2])
SLOW_CASES = 12


def rows_of(path) -> list[dict]:
    return [json.loads(line) for line in path.read_text().splitlines()]


def canonical(value) -> str:
    return json.dumps(value, sort_keys=True, allow_nan=False)


@pytest.fixture(scope="module")
def lanes(tmp_path_factory):
    """The lanes every comparing test reads (so that case ids, which hold
    the files' paths, are the same in each)."""
    folder = tmp_path_factory.mktemp("lanes")
    write_lanes(folder)
    return folder


@pytest.fixture(scope="module")
def quick(lanes, tmp_path_factory):
    """The ~20-case plan run in this process: output folder, result."""
    out = tmp_path_factory.mktemp("quick")
    result = zefra_tdr.sweep(plan_dict(lanes, out=out), workers=1)
    return out, result


@pytest.fixture(scope="module")
def slow_reference(lanes, tmp_path_factory):
    """The slow plan's JSON Lines and CSV bytes from one process."""
    out = tmp_path_factory.mktemp("slow")
    zefra_tdr.sweep(plan_dict(lanes, SLOW, out), workers=1)
    return (out / "rows.jsonl").read_bytes(), (out / "rows.csv").read_bytes()


def outputs(folder) -> tuple[bytes, bytes]:
    return (folder / "rows.jsonl").read_bytes(), (folder / "rows.csv").read_bytes()


def wait_for_line(stream, text: str, timeout_s: float = 120.0) -> list[str]:
    """Lines read from ``stream`` up to the first that holds ``text``."""
    lines, end = [], time.monotonic() + timeout_s
    while time.monotonic() < end:
        line = stream.readline()
        if not line:
            break
        lines.append(line)
        if text in line:
            return lines
    raise AssertionError(f"no line with {text!r} in {lines}")


# ---------------------------------------------------------------------------
# Rows
# ---------------------------------------------------------------------------

def test_each_row_is_the_bits_of_link_run_alone(quick, tmp_path):
    _, result = quick
    assert len(result.rows) == 18 and not result.errors
    for row in result.rows:
        out = tmp_path / f"{row['case_index']}.json"
        argv = row["command_line"].split()[1:]
        assert main([*argv, "--json", str(out)]) == 0
        alone = link_figures(json.loads(out.read_text()))
        assert canonical({k: row[k] for k in alone}) == canonical(alone)


def test_rows_carry_case_setting_checksums_and_the_channels_aggressors(lanes, quick):
    _, result = quick
    import hashlib

    lanes = lanes / "lanes"
    for row in result.rows:
        lane = row["channel_name"].split("=")[1]
        thru = (lanes / f"lane{lane}_thru.s2p").read_bytes()
        assert row["checksums"]["thru_sha256"] == hashlib.sha256(thru).hexdigest()
        expected = 1 if lane == "2" else 0
        assert row["search"]["aggressor_count"] == expected
        assert len(row["checksums"]["xtalk_sha256"]) == expected
        assert row["setting"]["levels"] == row["inputs"]["levels"]
        assert row["setting"]["dfe"] == row["inputs"]["dfe"]["fixed_taps"]
        assert "timings_s" not in row and "threads" not in row["inputs"]
    assert [r["case_index"] for r in result.rows] == list(range(18))


def test_serial_pool_and_dask_cluster_write_the_same_bytes(lanes, quick, tmp_path,
                                                          dask_cluster):
    serial_out, _ = quick
    pool_out, dask_out = tmp_path / "pool", tmp_path / "dask"
    pool_out.mkdir()
    dask_out.mkdir()
    # One case per task: tasks finish out of order on two workers.
    zefra_tdr.sweep(plan_dict(lanes, out=pool_out), workers=2, block=1)
    from distributed import Client

    with Client(dask_cluster["address"]) as client:
        zefra_tdr.sweep(plan_dict(lanes, out=dask_out), client=client, block=1)
        assert client.run(lambda: 1)          # the caller's client stays open
    assert outputs(pool_out) == outputs(serial_out)
    assert outputs(dask_out) == outputs(serial_out)


def test_csv_values_read_back_to_the_rows(quick):
    folder, result = quick
    with open(folder / "rows.csv", newline="") as f:
        table = list(csv.DictReader(f))
    assert len(table) == len(result.rows)
    assert not any(c.startswith("conventions") or c == "eye.conventions" for c in table[0])
    for line, row in zip(table, result.rows):
        assert float(line["margin_v"]) == row["margin_v"]
        assert float(line["eyes.0.height_best_v"]) == row["eyes"][0]["height_best_v"]
        assert json.loads(line["readout.phases_ui"]) == row["readout"]["phases_ui"]
        assert line["status"] == "ok" and line["error"] == ""
        assert line["setting.levels"] == str(row["setting"]["levels"])


# ---------------------------------------------------------------------------
# Bad input
# ---------------------------------------------------------------------------

def test_corrupt_file_gives_error_rows_and_the_sweep_goes_on(tmp_path):
    write_lanes(tmp_path)
    plan = write_plan(tmp_path)
    bad = tmp_path / "lanes" / "lane2_thru.s2p"
    lines = bad.read_text().splitlines()
    lines[10] = "1.0e9 not a number"
    bad.write_text("\n".join(lines) + "\n")
    proc = cli("sweep", str(plan), "--workers", "2")
    out, err = proc.communicate(timeout=300)
    assert proc.returncode == 1, err
    rows = rows_of(tmp_path / "rows.jsonl")
    failed = [r for r in rows if r["status"] == "error"]
    assert {r["channel_name"] for r in failed} == {"lane=2"} and len(failed) == 6
    assert all(r["error"].startswith(f"{bad}:11: ") for r in failed)
    assert all(r["status"] == "ok" for r in rows if r["channel_name"] != "lane=2")
    assert "errors (6):" in out and f"{bad}:11:" in out


def test_missing_crosstalk_file_is_an_error_row(tmp_path):
    write_lanes(tmp_path)
    plan = plan_dict(tmp_path)
    plan["channels"][0]["xtalk"] = [str(tmp_path / "lanes" / "lane{lane}_fext.s2p")]
    result = zefra_tdr.sweep(plan, workers=1)
    assert len(result.errors) == 18
    assert "lane1_fext.s2p" in result.errors[0]["error"]


def test_bad_plan_exits_2_with_one_line_before_any_case(tmp_path):
    plan = tmp_path / "plan.yaml"
    plan.write_text("channels: [default]\nsettings: {levles: 4}\n")
    proc = cli("sweep", str(plan))
    out, err = proc.communicate(timeout=120)
    assert proc.returncode == 2
    assert err.strip().splitlines() == [
        f"zefra-tdr: error: {plan}: settings: unknown key 'levles'; expected "
        + ", ".join(zefra_tdr.sweep_plan.SETTING_OPTIONS)]
    assert not (tmp_path / "plan.results.jsonl").exists()


def test_parquet_without_a_writer_is_refused_before_any_case(tmp_path, monkeypatch):
    monkeypatch.setattr("zefra_tdr.sweep_run.parquet_writer", lambda: None)
    write_lanes(tmp_path)
    plan = plan_dict(tmp_path, parquet=tmp_path / "rows.parquet")
    with pytest.raises(ValueError, match="no Parquet writer"):
        zefra_tdr.sweep(plan, workers=1)
    assert not (tmp_path / "rows.jsonl").exists()


# ---------------------------------------------------------------------------
# Dead workers
# ---------------------------------------------------------------------------

def test_killed_pool_worker_tasks_are_run_again(lanes, tmp_path, slow_reference):
    import psutil

    plan = write_plan(lanes, SLOW, tmp_path)
    proc = cli("sweep", str(plan), "--workers", "2", "--block", "1")
    wait_for_line(proc.stderr, f"1/{SLOW_CASES} cases done")
    workers = [p for p in psutil.Process(proc.pid).children()
               if "resource_tracker" not in " ".join(p.cmdline())]
    assert len(workers) == 2
    workers[0].send_signal(signal.SIGKILL)
    out, err = proc.communicate(timeout=300)
    assert proc.returncode == 0, err
    assert "a worker process died" in err and "resubmitted" in err
    assert (tmp_path / "rows.jsonl").read_bytes() == slow_reference[0]


def test_killed_dask_worker_tasks_are_run_on_another(lanes, tmp_path, slow_reference, dask_cluster):
    plan = write_plan(lanes, SLOW, tmp_path)
    proc = cli("sweep", str(plan), "--scheduler", dask_cluster["address"], "--block", "1")
    wait_for_line(proc.stderr, f"1/{SLOW_CASES} cases done")
    dask_cluster["workers"][0].kill()
    out, err = proc.communicate(timeout=300)
    assert proc.returncode == 0, err
    assert (tmp_path / "rows.jsonl").read_bytes() == slow_reference[0]


# ---------------------------------------------------------------------------
# Interruption and resume
# ---------------------------------------------------------------------------

def test_resume_after_a_kill_gives_the_same_output(lanes, tmp_path, slow_reference):
    plan = write_plan(lanes, SLOW, tmp_path)
    proc = cli("sweep", str(plan), "--workers", "1", "--threads-per-case", "1")
    wait_for_line(proc.stderr, f"/{SLOW_CASES} cases done")
    proc.send_signal(signal.SIGKILL)
    proc.communicate(timeout=60)
    journal = rows_of(tmp_path / "rows.jsonl")       # every line is a whole row
    assert 0 < len(journal) < SLOW_CASES
    proc = cli("sweep", str(plan), "--resume")
    out, err = proc.communicate(timeout=300)
    assert proc.returncode == 0, err
    assert f"{len(journal)} from the journal" in out
    assert (tmp_path / "rows.jsonl").read_bytes() == slow_reference[0]
    assert (tmp_path / "rows.csv").read_bytes() == slow_reference[1]


def test_interrupt_keeps_finished_rows_in_every_output(lanes, tmp_path):
    plan = write_plan(lanes, SLOW, tmp_path)
    proc = cli("sweep", str(plan), "--workers", "2", "--block", "1")
    wait_for_line(proc.stderr, f"/{SLOW_CASES} cases done")
    proc.send_signal(signal.SIGINT)
    out, err = proc.communicate(timeout=120)
    assert proc.returncode == 130
    assert "--resume continues the sweep" in err and "Traceback" not in err
    journal = rows_of(tmp_path / "rows.jsonl")
    with open(tmp_path / "rows.csv", newline="") as f:
        table = list(csv.DictReader(f))
    assert 0 < len(journal) < SLOW_CASES
    assert [r["case_id"] for r in table] == [r["case_id"] for r in journal]


def test_partial_last_line_is_dropped_and_its_case_computed_again(lanes, quick, tmp_path):
    serial_out, _ = quick
    reference = (serial_out / "rows.jsonl").read_bytes()
    lines = reference.splitlines(keepends=True)
    (tmp_path / "rows.jsonl").write_bytes(b"".join(lines[:5]) + lines[5][:100])
    again = zefra_tdr.sweep(plan_dict(lanes, out=tmp_path), workers=1, resume=True)
    assert again.reused == 5 and again.computed == 13
    assert any("unfinished last line" in n for n in again.notes)
    assert (tmp_path / "rows.jsonl").read_bytes() == reference


def test_finished_journal_is_kept_unless_resume_or_overwrite(lanes, quick, tmp_path):
    serial_out, _ = quick
    reference = (serial_out / "rows.jsonl").read_bytes()
    (tmp_path / "rows.jsonl").write_bytes(reference)
    with pytest.raises(ValueError, match="already holds 18 row"):
        zefra_tdr.sweep(plan_dict(lanes, out=tmp_path), workers=1)
    assert (tmp_path / "rows.jsonl").read_bytes() == reference
    again = zefra_tdr.sweep(plan_dict(lanes, out=tmp_path), workers=1, resume=True)
    assert again.computed == 0 and again.reused == 18
    again = zefra_tdr.sweep(plan_dict(lanes, out=tmp_path), workers=1, overwrite=True)
    assert again.computed == 18
    assert (tmp_path / "rows.jsonl").read_bytes() == reference


def test_resume_computes_again_cases_whose_file_changed_or_failed(tmp_path):
    write_lanes(tmp_path)
    lane1 = tmp_path / "lanes" / "lane1_thru.s2p"
    good = lane1.read_bytes()
    lane1.write_text("! not a touchstone file\n")
    first = zefra_tdr.sweep(plan_dict(tmp_path), workers=1)
    assert len(first.errors) == 6
    lane1.write_bytes(good)
    lane3 = tmp_path / "lanes" / "lane3_thru.s2p"
    zefra_tdr.write_touchstone(zefra_tdr.read_touchstone(lane3), lane3, fmt="MA")
    again = zefra_tdr.sweep(plan_dict(tmp_path), workers=1, resume=True)
    assert not again.errors
    # lane 1's error rows and lane 3's rows (its file is new bytes) again.
    assert again.computed == 12 and again.reused == 6
    assert any("their files changed" in n for n in again.notes)


def test_rows_of_cases_no_longer_planned_are_kept_at_the_end(lanes, quick, tmp_path):
    serial_out, _ = quick
    (tmp_path / "rows.jsonl").write_bytes((serial_out / "rows.jsonl").read_bytes())
    smaller = plan_dict(lanes, dict(QUICK_SETTINGS, dfe=[0, 1]), tmp_path)
    result = zefra_tdr.sweep(smaller, workers=1, resume=True)
    assert result.computed == 0 and len(result.rows) == 18
    assert [r["setting"]["dfe"] for r in result.rows[12:]] == [2] * 6


# ---------------------------------------------------------------------------
# Progress, summary, plot
# ---------------------------------------------------------------------------

class Terminal(io.StringIO):
    def isatty(self):
        return True


def test_progress_on_a_terminal_is_one_bar_with_rate_and_time_left():
    stream = Terminal()
    bar = Progress("sweep", "cases", stream=stream, lines=True)
    bar(1, 4)
    bar(4, 4)
    text = stream.getvalue()
    assert "\n" not in text.rstrip("\n") and text.count("\r") == 2
    assert "1/4 cases" in text and "4/4 cases" in text and "/s" in text and "left" in text


def test_progress_in_a_log_is_plain_lines():
    stream = io.StringIO()
    bar = Progress("sweep", "cases", stream=stream, lines=True)
    bar(1, 2)
    bar(2, 2)
    lines = stream.getvalue().splitlines()
    assert [line.split(",")[0] for line in lines] == ["sweep: 1/2 cases done",
                                                      "sweep: 2/2 cases done"]
    assert "\r" not in stream.getvalue()


def test_summary_lists_the_worst_cases_by_margin_and_the_errors(quick):
    _, result = quick
    text = result.summary(3)
    margins = sorted(r["margin_v"] for r in result.rows)[:3]
    listed = [float(line.split()[0]) for line in text.splitlines()[3:6]]
    assert listed == [round(m * 1e3, 3) for m in margins]
    assert "18 case(s): 18 ok, 0 error(s)" in text
    assert "levels=" in text and "dfe=" in text and "baud=" not in text


def test_plot_draws_worst_eye_height_against_loss_one_line_per_setting(quick):
    import matplotlib

    matplotlib.use("Agg")
    _, result = quick
    ax = zefra_tdr.plot_sweep(result.rows)
    lines = [ln for ln in ax.get_lines() if ln.get_label() and not ln.get_label().startswith("_")]
    assert len(lines) == 6
    for line in lines:
        setting = next(s for s in result.plan.settings
                       if line.get_label() == ", ".join(f"{k}={s[k]}" for k in ("levels", "dfe"))
                       or line.get_label() == f"levels={s['levels']} dfe={s['dfe']}")
        rows = sorted((r for r in result.rows if r["setting"] == setting),
                      key=lambda r: -r["channel"]["loss_at_nyquist_db"])
        assert list(line.get_xdata()) == [-r["channel"]["loss_at_nyquist_db"] for r in rows]
        assert list(line.get_ydata()) == [min(e["height_best_v"] for e in r["eyes"]) * 1e3
                                          for r in rows]


def test_plot_output_is_written_as_a_png(lanes, tmp_path):
    plan = plan_dict(lanes, dict(QUICK_SETTINGS, levels=2), tmp_path, plot=tmp_path / "eh.png")
    zefra_tdr.sweep(plan, workers=1)
    assert (tmp_path / "eh.png").read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"


# ---------------------------------------------------------------------------
# A real Dask cluster: a scheduler and two worker processes on 127.0.0.1
# ---------------------------------------------------------------------------

@pytest.fixture
def dask_cluster(tmp_path_factory):
    pytest.importorskip("distributed")
    folder = tmp_path_factory.mktemp("dask")
    info = folder / "scheduler.json"
    env = cli_env()
    common = ["--no-dashboard"]
    scheduler = subprocess.Popen(
        [sys.executable, "-m", "distributed.cli.dask_scheduler", "--host", "127.0.0.1",
         "--port", "0", "--scheduler-file", str(info), *common],
        env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    workers = []
    try:
        end = time.monotonic() + 60
        while not info.exists() and time.monotonic() < end:
            time.sleep(0.1)
        address = json.loads(info.read_text())["address"]
        for _ in range(2):
            workers.append(subprocess.Popen(
                [sys.executable, "-m", "distributed.cli.dask_worker", address, "--nthreads", "1",
                 "--no-nanny", "--host", "127.0.0.1", *common],
                env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        from distributed import Client

        with Client(address, timeout="30s") as client:
            client.wait_for_workers(2, timeout=60)
        yield {"address": address, "workers": workers}
    finally:
        for p in [*workers, scheduler]:
            p.terminate()
        for p in [*workers, scheduler]:
            try:
                p.wait(timeout=20)
            except subprocess.TimeoutExpired:
                p.kill()


def test_a_second_sweep_on_the_same_outputs_is_refused_while_the_first_runs(lanes, tmp_path):
    plan = write_plan(lanes, SLOW, tmp_path)
    proc = cli("sweep", str(plan), "--workers", "1", "--threads-per-case", "1")
    try:
        wait_for_line(proc.stderr, f"/{SLOW_CASES} cases done")
        with pytest.raises(ValueError, match="another sweep is writing these outputs"):
            zefra_tdr.sweep(plan, resume=True)
    finally:
        proc.kill()
        proc.communicate(timeout=60)
    # Killed, its lock went with it.
    again = zefra_tdr.sweep(plan_dict(lanes, dict(QUICK_SETTINGS, levels=2), tmp_path),
                            overwrite=True, workers=1)
    assert not again.errors


def test_local_cluster_leaves_the_callers_environment_as_it_was(lanes, tmp_path):
    import os

    before = dict(os.environ)
    result = zefra_tdr.sweep(plan_dict(lanes, dict(QUICK_SETTINGS, levels=2, dfe=0), tmp_path),
                             local_cluster=1)
    assert not result.errors and len(result.rows) == 3
    assert dict(os.environ) == before


@pytest.mark.parametrize("option, message", [
    (["--workers", "0"], "--workers 0: expected 1 or more"),
    (["--block", "0"], "--block 0: expected 1 or more cases per task"),
    (["--threads-per-case", "-1"], "threads per case -1: expected 0 (every core) or more"),
    (["--worst", "-1"], "--worst -1: expected 0 or more"),
    (["--local-cluster", "0"], "--local-cluster 0: expected 1 or more workers"),
])
def test_bad_option_exits_2_with_one_line_and_writes_nothing(lanes, tmp_path, option, message):
    plan = write_plan(lanes, QUICK_SETTINGS, tmp_path)
    proc = cli("sweep", str(plan), *option)
    out, err = proc.communicate(timeout=120)
    assert proc.returncode == 2
    assert err.strip().splitlines() == [f"zefra-tdr: error: {message}"]
    assert not (tmp_path / "rows.jsonl").exists()
