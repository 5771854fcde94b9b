# SPDX-License-Identifier: Apache-2.0
"""Importing the package checks that its extension module describes the same records."""
import subprocess
import sys

from hb_client import _library
from hb_client._library import ffi

# Imports the package a second time, with an extension module that answers as the test wants.
AGAIN = """
import sys, types
import hb_client._hb_watch as real

class Other:
    def __getattr__(self, name):
        return getattr(real.ffi, name)
    def sizeof(self, name):
        return %r.get(name, real.ffi.sizeof(name))

for name in [name for name in sys.modules if name.startswith("hb_client")]:
    del sys.modules[name]
other = types.ModuleType("hb_client._hb_watch")
other.ffi, other.lib = Other(), real.lib
sys.modules["hb_client._hb_watch"] = other
import hb_client
print("imported")
"""


def output_of(program):
    return subprocess.run([sys.executable, "-c", program], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False)


def test_the_records_have_their_sizes():
    assert {name: ffi.sizeof(name) for name in _library.SIZES} == {
        "Hb_Watch_Report": 104,
        "Hb_Watch_Adapter": 64,
        "Hb_Network_Entry": 86,
        "Hb_Adapter_Entry": 64,
        "Hb_IP_address6": 16,
        "Hb_Uuid": 16,
        "Hb_Site_Info": 68,
        "diff_instance_info": 20,
        "site_split_info": 136,
        "site_merge_info": 144,
        "Hb_Group": 393480,
        "Hb_Adapter_Identifier": 12,
        "Hb_Subscription_Group": 12348,
        "Hb_Route": 176,
    }


def test_a_record_of_another_size_ends_the_import_with_what_to_do():
    assert output_of(AGAIN % {}).stdout == "imported\n"
    failed = output_of(AGAIN % {"Hb_Watch_Report": 100, "Hb_Group": 393484})
    assert failed.returncode == 1
    assert failed.stdout.splitlines()[-1] == (
        "ImportError: hb_client: the extension module _hb_watch has other records than this package: Hb_Watch_Report "
        "has 100 bytes instead of 104; Hb_Group has 393484 bytes instead of 393480. The two come from different "
        "versions or headers: install python3-hb-client again, or build the target hb_python again"
    )


def test_a_missing_extension_module_ends_the_import_with_what_to_do():
    failed = output_of("import sys\nsys.modules['hb_client._hb_watch'] = None\nimport hb_client\n")
    assert failed.returncode == 1
    last = failed.stdout.splitlines()[-1]
    assert last.startswith("ImportError: hb_client: the extension module _hb_watch cannot be loaded: ")
    assert "Install the packages python3-hb-client and python3-cffi-backend" in last
