"""``python -m zefra_tdr`` runs the zefra-tdr command."""

import sys

from .cli import main

sys.exit(main())
