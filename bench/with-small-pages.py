"""Runs a command with transparent huge pages switched off for it.

Wine maps a Windows program's memory in 4 KiB pages, where tsntxtr asks
Linux for 2 MiB ones; the benchmark runs tsntxtr this way too, to compare the
plug-in with it on equal terms. PR_SET_THP_DISABLE (41) is kept across exec.
"""
import ctypes
import os
import sys

if ctypes.CDLL(None, use_errno=True).prctl(41, 1, 0, 0, 0) != 0:
    sys.exit("with-small-pages: prctl failed: " + os.strerror(ctypes.get_errno()))
os.execvp(sys.argv[1], sys.argv[1:])
