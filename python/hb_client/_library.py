# SPDX-License-Identifier: Apache-2.0
"""Loads the extension module, and checks that it and this package describe the same records."""
import sys
from typing import TYPE_CHECKING

try:
    from hb_client._hb_watch import ffi, lib
except ImportError as error:
    raise ImportError(
        f"hb_client: the extension module _hb_watch cannot be loaded: {error} (in {sys.executable}). "
        "Install the packages python3-hb-client and python3-cffi-backend for this interpreter, or use /usr/bin/python3; in "
        "a source tree, build the target hb_python and add build/<preset>/python to PYTHONPATH",
        name="hb_client._hb_watch",
    ) from error

# Bytes of each record that is the same in 32-bit and 64-bit programs. They never change.
SIZES = {
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


def check_sizes() -> None:
    different = [
        f"{name} has {ffi.sizeof(name)} bytes instead of {size}"
        for name, size in SIZES.items()
        if ffi.sizeof(name) != size
    ]
    if different:
        raise ImportError(
            f"hb_client: the extension module _hb_watch has other records than this package: {'; '.join(different)}. "
            "The two come from different versions or headers: install python3-hb-client again, or build the target "
            "hb_python again",
            name="hb_client._hb_watch",
        )


check_sizes()

if TYPE_CHECKING:
    from hb_client._hb_watch import CData
else:
    CData = ffi.CData

__all__ = ["CData", "ffi", "lib"]
