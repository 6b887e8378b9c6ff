#!/bin/bash
# The tests of one server with a current engine, and the lines that make a Parquet file.
set -euo pipefail
cd "$(dirname "$0")"

ARCHIVE_ENGINE=current /usr/bin/python3 -B one_server.py
