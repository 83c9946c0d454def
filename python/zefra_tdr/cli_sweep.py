"""``zefra-tdr sweep PLAN``: every (channel, setting) case of a plan, each
a ``zefra-tdr link`` run, on every core or on a Dask cluster
(:func:`zefra_tdr.sweep_run.sweep`; docs/sweep.md)."""

from __future__ import annotations

import argparse
import sys

from .cli import EXIT_OK, command

__all__: list[str] = []

#: The sweep finished, but some cases are rows in error.
EXIT_CASE_ERRORS = 1
EXIT_INTERRUPTED = 130


def _options(parser: argparse.ArgumentParser) -> None:
    parser.epilog = ("Exit status: 0 when every case is ok, 1 when the sweep finished with "
                     "rows in error (a bad file, a failing case), 2 for a bad plan or option, "
                     "130 when interrupted (--resume continues).")
    parser.add_argument("plan", metavar="PLAN",
                        help="the plan: a .yaml/.yml or .toml file naming the channels (globs, "
                             "with their crosstalk files), the grids of settings and the "
                             "outputs (docs/sweep.md)")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--workers", type=int, default=None, metavar="N",
                       help="processes of the local pool (default: one per core; 1 runs the "
                            "cases in this process)")
    where.add_argument("--scheduler", default=None, metavar="ADDRESS",
                       help="run on the Dask cluster of this scheduler, e.g. "
                            "tcp://10.0.0.5:8786 (every worker needs this package, same "
                            "version)")
    where.add_argument("--local-cluster", type=int, default=None, metavar="N",
                       help="start a Dask LocalCluster of N one-thread workers and run on it")
    again = parser.add_mutually_exclusive_group()
    again.add_argument("--resume", action="store_true",
                       help="keep the finished rows already in the JSON Lines output (if their "
                            "files are unchanged) and compute only the other cases")
    again.add_argument("--overwrite", action="store_true",
                       help="start again even if the JSON Lines output already holds rows "
                            "(default: refuse, so that no finished row is lost)")
    parser.add_argument("--block", type=int, default=None, metavar="N",
                        help="cases per task, all of one channel (default: about 4 tasks per "
                             "worker)")
    parser.add_argument("--threads-per-case", type=int, default=None, metavar="N",
                        help="engine threads of each case (default: every core with --workers "
                             "1, else 1); results do not depend on it")
    parser.add_argument("--worst", type=int, default=5, metavar="N",
                        help="worst cases listed in the summary (default: 5)")


@command("sweep", "run a plan of channels x equaliser settings (each case a link run) on "
                  "every core or a Dask cluster; rows to JSON Lines and CSV", _options)
def _sweep(args) -> int:
    from .sweep_run import summary_lines, sweep

    if args.worst < 0:
        raise ValueError(f"--worst {args.worst}: expected 0 or more")
    try:
        result = sweep(args.plan, scheduler=args.scheduler, local_cluster=args.local_cluster,
                       workers=args.workers, resume=args.resume, overwrite=args.overwrite,
                       block=args.block, threads_per_case=args.threads_per_case, progress=True)
    except KeyboardInterrupt:
        print("zefra-tdr: interrupted; the finished rows are in the JSON Lines output, and "
              "--resume continues the sweep", file=sys.stderr)
        return EXIT_INTERRUPTED
    for line in summary_lines(result, args.worst):
        print(line)
    for key, path in result.outputs.items():
        print(f"{key}: {path}")
    return EXIT_OK if not result.errors else EXIT_CASE_ERRORS
