"""Station test for the plugin's --ftm-sim boards (run by run_station.py):
each test runs once on each board the plugin started, and what the script
changes in the board's directory shows in the board's reports."""

import os


def test_sim_board(board, record_property):
    port = board.address.rsplit(":", 1)[1]
    with open(os.path.join(board.sim_dir, "cfg", "ProductionData.tsv")) as f:
        head, row = f.read().splitlines()[:2]
    with open(os.path.join(board.sim_dir, "cfg", "ProductionData.tsv"), "w") as f:
        f.write("%s\n%s\n" % (head, "\t".join(["SIM" + port] + row.split("\t")[1:])))
    assert board.modem_info()["MODEM_INFO/MODEL_NUM"] == "SIM" + port
    record_property("sim_dir", board.sim_dir)
