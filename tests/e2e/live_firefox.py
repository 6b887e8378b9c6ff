"""The tests of live_views.py in Firefox."""

import live_views
from page import main, start_firefox


class FirefoxTest(live_views.ViewTest):
    start_browser = staticmethod(start_firefox)


if __name__ == "__main__":
    main()
