"""Runs every exchange against a simulated terminal, and compares what happened with docs/exchanges.md.

exchanges.py PDACTL PDASIM LIBRARY INI PAGE [--update]: with --update the page is written anew.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import page

FILE_DIGITS = b"Opening hours: 8 to 18\n".hex()
SCENARIO = {"name": "Examples", "locks": [{"id": "LOCK-1", "label": "Van"}], "files": [{"command": 7, "hex": FILE_DIGITS}]}
PDA = {"pdaNumber": "00000001"}
LOCK_LISTS = {"lockIds": "LOCK-1;", "actions": "00;", "oneTimeCodes": "123456;", "usersA": "anna;", "usersB": "ben;"}

# Headings with what happens below them, in this order: a request, or, as words, what the terminal's user does.
STEPS = {
    "600001: initialise": [{"transCode": "600001", **PDA, "pFactory": "ACME"}],
    "600002: identify": [{"transCode": "600002"}],
    "600003: write a bag's label": [
        {"transCode": "600003", "pBagNumber": "B0001", "pAttrOrg": "1001", "pBagType": "1"}],
    "600004: start a scan run": [{"transCode": "600004", **PDA, "pCmdType": "1"}],
    "9001: the terminal reports a scanned label": ["scan B0001"],
    "600005: fetch the labels scanned": [{"transCode": "600005", **PDA}],
    "600006: send an inventory task": [
        {"transCode": "600006", **PDA, "pTaskID": "INV-1", "pTotal": 2, "pLabelList": "B0001;B0002;"}],
    "9004: the terminal reports the inventory": ["finish-inventory --user anna --error B0002"],
    "600007: fetch the inventory's result": [{"transCode": "600007", **PDA}],
    "600008: send a dot handover": [
        {"transCode": "600008", **PDA, "pTaskID": "DOT-1", "pTaskType": 1, "pRoad": "Route 7",
         "pExcgTime": "20260102030405", "pOrgNum": "0042", "pOrgNm": "Main branch", "pTotal": 1, "pLabel": "B0001;",
         "pAName": "anna", "pBName": "ben"}],
    "9002: a user logs in, and the host answers": [
        "login anna --name Anna --password PWD-A", {"call": "SyncLoginResult", **PDA, "resultCode": "000000"}],
    "9005: the terminal reports the dot handover": ["handover-dot DOT-1 --user anna --second ben"],
    "600009: fetch the dot handover's result": [{"transCode": "600009", **PDA, "pTaskID": "DOT-1"}],
    "600010: send a power handover": [
        {"transCode": "600010", **PDA, "pTaskID": "POW-1", "pOrgNb": "0042", "pTime": "20260102030405",
         "pOrgNm": "Main branch", "pBatchNb": "N-5", "pTotal": 1, "pLabel": "B0001;", "pBagNumber": ""}],
    "9006: the terminal reports the power handover": ["handover-power POW-1 --user anna --second ben"],
    "600011: fetch the power handover's result": [{"transCode": "600011", **PDA, "pTaskID": "POW-1"}],
    "A refusal: 600013 without a key": [{"transCode": "600013", **PDA}],
    "600012: load a key": [{"transCode": "600012", **PDA, "pKey": "00112233445566778899", "CheckVal": "AABBCC"}],
    "600013: ask for its check value": [{"transCode": "600013", **PDA}],
    "600014: replace the working keys": [
        {"transCode": "600014", **PDA, "pEncKey": "E0E1E2E3", "pMacKey": "A0A1A2A3", "pEncChkVal": "EC",
         "pMacChkVal": "AC"}],
    "600015: send a file": [
        {"transCode": "600015", **PDA, "pCmdEx": 1, "pInfoEx": "hours.txt", "pFilePath": FILE_DIGITS}],
    "600016: fetch a file": [{"transCode": "600016", **PDA, "pCmdEx": 7, "pInfEx": "hours.txt"}],
    "600017: ask for the registered teller": ["teller T0815", {"transCode": "600017", **PDA}],
    "600018: report users' authentication": [{"transCode": "600018", **PDA, "pAuthRet": "anna,1;ben,0;"}],
    "600019: send tellers": [{"transCode": "600019", **PDA, "pTellerNo": "T0815;T0816;"}],
    "9003: the terminal tells who is there": ["notice Anna"],
    "Opening a lock": [{"call": "GetLockList"}, {"call": "ReqOpenLock", "lockCount": "1", **LOCK_LISTS},
                       {"call": "ReadLockRes"}],
}
INTRODUCTION = """# Exchanges

One example of each request, and of each message that the terminal starts, in the order of a working day with the
simulated terminal. A test runs them and compares: what is here is what the library does.

- Messages and JSON are one line each; here they are broken for reading.
- Every time of the run is shown as 2026-01-02 03:04:05. Sequence numbers (`Ex_SeqNo`) count the messages of this one
  process.
- Requests and responses with a `transCode` are those of `PDA_CommonCall`. Those with a `call`, and events, are in the
  form of [`pdactl serve`](pdactl.md#pdactl-serve-a-host-for-every-language): the members of the library behind them
  take and give the same values as buffers.

What members mean, and the layout of messages, is in the [host guide](host-guide.md#values).
"""
DONE, REFUSED = 0, 6  # exit codes of pdactl
LOGGED = {r"inJson4:(.*) inLen:\d+": "Request", r"Write XML1?: (.*) sendLen:\d+": "Host to terminal",
          r"HID Read XML: (.+)": "Terminal to host", r"outJson:(.*) outLen:\d+ ret:-?\d+": "Response"}


def broken(text):
    """In lines of 110 characters where that can be done between tags or members."""
    lines = [""]
    for piece in re.split(r'(?<=>)(?=<[^/])|(?<=,)(?=")', text):
        if lines[-1] and len(lines[-1] + piece) > 110:
            lines.append("")
        lines[-1] += piece
    return "\n".join(lines)


def shown(parts):
    """What was said, with pieces of one message put together."""
    joined = []
    for title, text in parts:
        if joined and joined[-1][0] == title:
            joined[-1][1] += text
        else:
            joined.append([title, text])
    text = "".join(f"\n{title}:\n\n```text\n{broken(said)}\n```\n" for title, said in joined)
    text = re.sub(r'"20[-0-9]{8}T[:.0-9]{12}"', '"2026-01-02T03:04:05.000"', text)
    return re.sub(r"\b20\d{12}\b", "20260102030405", text)


def carried_out(step, serving, control, log):
    """The parts of one exchange: what the log has of it, and what `pdactl serve` says."""
    begin = log.stat().st_size if log.exists() else 0
    if isinstance(step, str):
        subprocess.run([*control, *step.split()], check=True, stdout=subprocess.PIPE)
        if step.startswith("teller"):
            return []
    else:
        print(request := json.dumps(step, separators=(",", ":")), file=serving.stdin, flush=True)
    answer = serving.stdout.readline().strip()
    if json.loads(answer).get("exitCode", DONE) not in (DONE, REFUSED):
        sys.exit(f"{step}: {answer}")
    parts = [("Request", request)] if "call" in step else []
    for line in log.read_bytes()[begin:].decode().splitlines():
        parts += [(title, found[1]) for form, title in LOGGED.items() if (found := re.search(f": {form}$", line))]
    if "transCode" not in step:
        parts.append(("Response" if "call" in step else "Event", answer))
    return parts


def run(pdactl, pdasim, library, ini):
    with tempfile.TemporaryDirectory() as folder:
        shutil.copy(library, f"{folder}/libpdalink.so.1")
        # A busy machine needs more than 100 ms for some replies.
        settings = pathlib.Path(ini).read_text(encoding="utf-8") + "REPLY=whole\n"
        pathlib.Path(folder, "PDAConfigure.ini").write_text(settings, encoding="utf-8")
        pathlib.Path(folder, "scenario.json").write_text(json.dumps(SCENARIO), encoding="utf-8")
        command = [pdasim, "run", "--control", f"{folder}/socket", "--scenario", f"{folder}/scenario.json", "--",
                   pdactl, "serve"]
        with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                              env=os.environ | {"LD_LIBRARY_PATH": folder}) as serving:
            control = [pdasim, "ctl", "--control", f"{folder}/socket"]
            log = pathlib.Path(folder, "log/PDA.log")
            written = INTRODUCTION + "".join(
                f"\n## {heading}\n" + "".join(shown(carried_out(step, serving, control, log)) for step in steps)
                for heading, steps in STEPS.items())
            serving.stdin.close()
            if serving.stdout.read() or serving.wait() != 0:
                sys.exit(f"pdasim ended with {serving.returncode}, or more was said than asked for")
        return written


page.settle(pathlib.Path(sys.argv[5]), run(*sys.argv[1:5]))
