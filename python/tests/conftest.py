"""Every test runs with an application-data folder of its own (presets,
settings, the configuration), shared by the module and the command it is
compared with, and never the user's. It is set before the module reads
its configuration."""

import os
import tempfile

_home = tempfile.mkdtemp(prefix="tsntxtr-pytest-")
os.environ["HOME"] = _home
os.environ["XDG_CONFIG_HOME"] = os.path.join(_home, "config")
os.environ.pop("TSNTXTR_TIMINGS", None)
