"""Who is the terminal? Opens a lock, and shows three labels that its user scans.

    pdasim run --user -- python3 example.py
"""

from pdalink import Server, accepted

with Server() as terminal:
    print("terminal:", accepted(terminal.request("600002"))["pSN"])

    accepted(terminal.call("ReqOpenLock", lockIds="LOCK-1;", oneTimeCodes="123456;", usersA="anna;", usersB="ben;"))
    print("opened:", accepted(terminal.call("ReadLockRes"))["lockIds"])

    accepted(terminal.request("600004", pCmdType="1"))
    for _ in range(3):
        print("scanned:", terminal.event()["fields"]["label"])
    accepted(terminal.request("600004", pCmdType="0"))
