"""``python -m melta``."""

import sys

from .tasks.command import main

sys.exit(main())
