"""Sweep plans: globs with named parts pick each channel's crosstalk files,
grids expand to every combination in order, YAML and TOML give the same
cases, each case's command line parses back to the same values, and a bad
plan is refused naming the key at fault."""

from __future__ import annotations

import itertools

import pytest

from zefra_tdr.cli import parse_command
from zefra_tdr.default_channel import default_channel_path
from zefra_tdr.sweep_plan import PlanError, load_plan, setting_label


def touch(folder, *names):
    for name in names:
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("# placeholder\n")


@pytest.fixture
def lanes(tmp_path):
    touch(tmp_path, "b/lane1_thru.s4p", "b/lane2_thru.s4p", "b/lane10_thru.s4p",
          "b/lane1_next_a.s4p", "b/lane1_next_b.s4p", "b/lane2_next_a.s4p",
          "b/lane10_fext.s4p", "b/other.s4p")
    return tmp_path


def test_named_part_of_thru_glob_selects_each_channels_crosstalk_files(lanes):
    plan = load_plan({"channels": [{"thru": "b/lane{n}_thru.s4p",
                                    "xtalk": ["b/lane{n}_next_*.s4p", "b/lane{n}_fext.s4p"]}]},
                     base_dir=lanes)
    by_name = {c.name: c for c in plan.channels}
    assert sorted(by_name) == ["n=1", "n=10", "n=2"]
    base = str(lanes / "b").replace("\\", "/")
    # lane1 and lane2 have no FEXT file: a plain path that is missing stays
    # listed (the case reports it), a wildcard that matches nothing adds none.
    assert by_name["n=1"].xtalk == (f"{base}/lane1_next_a.s4p", f"{base}/lane1_next_b.s4p",
                                    f"{base}/lane1_fext.s4p")
    assert by_name["n=10"].xtalk == (f"{base}/lane10_fext.s4p",)
    assert by_name["n=2"].thru == f"{base}/lane2_thru.s4p"


def test_named_part_does_not_cross_a_folder(tmp_path):
    touch(tmp_path, "a/x_thru.s2p", "a/deep/y_thru.s2p")
    plan = load_plan({"channels": [{"thru": "a/{k}_thru.s2p"}]}, base_dir=tmp_path)
    assert [c.name for c in plan.channels] == ["k=x"]


def test_grid_gives_every_combination_channel_major_in_key_order(lanes):
    plan = load_plan({"channels": ["default", {"thru": "b/other.s4p"}],
                      "settings": {"dfe": [0, 2, 4], "noise_rms": [1e-3, 2e-3],
                                   "baud": "53.125GHz"}}, base_dir=lanes)
    expected = [(c, {"dfe": d, "noise_rms": n, "baud": "53.125GHz"})
                for c in ("default", "other")
                for d, n in itertools.product([0, 2, 4], [1e-3, 2e-3])]
    assert [(case.channel.name, case.setting) for case in plan.cases] == expected
    assert [case.index for case in plan.cases] == list(range(12))
    assert len({case.case_id for case in plan.cases}) == 12


def test_list_of_grids_concatenates_them(lanes):
    plan = load_plan({"channels": ["default"],
                      "settings": [{"dfe": [0, 1]}, {"levels": 4, "dfe": 3}]}, base_dir=lanes)
    assert [c.setting for c in plan.cases] == [{"dfe": 0}, {"dfe": 1}, {"levels": 4, "dfe": 3}]


def test_case_command_line_parses_to_the_same_values(lanes):
    awkward = 0.1 + 0.2          # 0.30000000000000004: needs 17 digits
    plan = load_plan({"channels": [{"thru": "b/other.s4p", "order": "1-3/2-4",
                                    "xtalk": "b/lane1_next_a.s4p"}],
                      "settings": {"noise_rms": awkward, "dj": 1e-3 / 3, "target_ber": 1e-17,
                                   "ffe": [[-0.1, 0.9, 0.0]], "xtalk_sync": True,
                                   "ctle": "none", "dfe_floating": "1,2,3,9"}},
                     base_dir=lanes)
    (case,) = plan.cases
    args = parse_command(case.argv)
    assert args.noise_rms == awkward and args.dj == 1e-3 / 3 and args.target_ber == 1e-17
    assert args.ffe == "-0.1,0.9,0.0" and args.xtalk_sync is True and args.ctle == "none"
    assert args.order == "1-3/2-4" and args.xtalk == [str(lanes / "b/lane1_next_a.s4p")]
    assert args.dfe_floating == "1,2,3,9"
    assert case.command_line.startswith("zefra-tdr link ")


def test_default_thru_is_the_shipped_channel():
    (channel,) = load_plan({"channels": [{"thru": "default"}]}).channels
    assert channel.files() == [str(default_channel_path())]


def test_yaml_and_toml_plans_give_the_same_cases(lanes):
    (lanes / "p.yaml").write_text(
        "channels:\n  - thru: b/lane{n}_thru.s4p\n    xtalk: [\"b/lane{n}_next_*.s4p\"]\n"
        "settings:\n  dfe: [0, 2]\n  noise_rms: 0.5e-3\n  ctle: none\n"
        "outputs:\n  csv: out.csv\n")
    (lanes / "p.toml").write_text(
        '[[channels]]\nthru = "b/lane{n}_thru.s4p"\nxtalk = ["b/lane{n}_next_*.s4p"]\n'
        '[settings]\ndfe = [0, 2]\nnoise_rms = 0.5e-3\nctle = "none"\n'
        '[outputs]\ncsv = "out.csv"\n')
    a, b = load_plan(lanes / "p.yaml"), load_plan(lanes / "p.toml")
    assert [c.argv for c in a.cases] == [c.argv for c in b.cases]
    assert len(a.cases) == 6
    # Relative outputs sit beside the plan; the journal defaults to its stem.
    assert a.outputs["csv"] == str(lanes / "out.csv")
    assert a.outputs["jsonl"] == str(lanes / "p.results.jsonl")


@pytest.mark.parametrize("plan, message", [
    ({"channels": ["default"], "setings": {}}, "unknown key 'setings'"),
    ({"channels": ["default"], "settings": {"levls": 4}}, "settings: unknown key 'levls'"),
    ({"channels": []}, "channels: expected a list"),
    ({"channels": [{"thru": "nothing/*.s4p"}]}, "no file matches"),
    ({"channels": ["default"], "settings": {"ffe": [-0.1, 0.9, 0.0]}}, "ambiguous"),
    ({"channels": ["default"], "settings": {"dfe": []}}, "settings.dfe: an empty list"),
    ({"channels": ["default"], "settings": {"dfe": [True]}}, "is not a number"),
    ({"channels": ["default"], "settings": {"xtalk_sync": "yes"}}, "expected true or false"),
    ({"channels": ["default", "default"]}, "two channels are named 'default'"),
    ({"channels": [{"thru": "default", "xtalk": ["{m}.s4p"]}]}, "{m} is not a {NAME}"),
    ({"channels": ["default"], "outputs": {"xlsx": "a.xlsx"}}, "outputs: unknown key 'xlsx'"),
])
def test_bad_plan_is_refused_naming_the_key(tmp_path, plan, message):
    with pytest.raises(PlanError, match=message.replace("{", r"\{").replace("}", r"\}")
                       .replace("(", r"\(").replace(")", r"\)")):
        load_plan(plan, base_dir=tmp_path)


def test_unreadable_or_malformed_plan_file_names_the_file(tmp_path):
    bad = tmp_path / "bad.yaml"
    bad.write_text("channels: [default\n")
    with pytest.raises(PlanError, match="bad.yaml: not valid YAML"):
        load_plan(bad)
    other = tmp_path / "plan.json"
    other.write_text("{}")
    with pytest.raises(PlanError, match="a .yaml, .yml or .toml file"):
        load_plan(other)
    with pytest.raises(OSError, match="missing.yaml: cannot read the plan"):
        load_plan(tmp_path / "missing.yaml")


def test_setting_label_names_only_the_options_that_vary():
    settings = [{"dfe": 0, "baud": 1.0}, {"dfe": 2, "baud": 1.0}]
    assert setting_label(settings[1], settings) == "dfe=2"
    assert setting_label({"baud": 1.0}, [{"baud": 1.0}]) == "(the one setting)"


def test_case_id_does_not_depend_on_the_order_options_are_written_in():
    a = load_plan({"channels": ["default"], "settings": {"dfe": 2, "levels": 4}})
    b = load_plan({"channels": ["default"], "settings": {"levels": 4, "dfe": 2}})
    c = load_plan({"channels": ["default"], "settings": {"levels": 4, "dfe": 3}})
    assert a.cases[0].case_id == b.cases[0].case_id != c.cases[0].case_id


def test_overlapping_grids_giving_one_case_twice_are_refused():
    with pytest.raises(PlanError, match=r"\{'dfe': 2\} and \{'dfe': 2\} are the same case"):
        load_plan({"channels": ["default"], "settings": [{"dfe": [0, 2]}, {"dfe": [2, 4]}]})


def test_option_value_link_cannot_parse_stops_the_plan_before_any_case():
    with pytest.raises(PlanError, match=r"settings \{'levels': 'four'\}: .*--levels: invalid "
                                        r"int value: 'four'"):
        load_plan({"channels": ["default"], "settings": {"levels": ["four"]}})
