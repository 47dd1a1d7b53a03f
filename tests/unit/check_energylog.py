"""Reads an energy log that was written in one time zone and checks its keys and month summaries against a computation
of its own, with Python's calendar, zone data and arithmetic.

usage: check_energylog.py DATABASE ZONE YEAR, with lines "year month day hour" of the hours that were stored, each
holding value1 = its line number and value2 = minus its line number or NULL for every seventh line, on standard input.
Columns are summed (value1) and averaged (value2). Prints what is wrong; prints "checked HOURS MONTHS" at the end.
"""

import sqlite3
import sys
from datetime import datetime
from zoneinfo import ZoneInfo

database, zone_name, year = sys.argv[1], sys.argv[2], int(sys.argv[3])
zone = ZoneInfo(zone_name)


def moments(*local):
    """The one or, at a change of the clock, two moments that a local time can mean."""
    return {int(datetime(*local, tzinfo=zone, fold=fold).timestamp()) for fold in (0, 1)}


def truncated_mean(numbers):
    return int(sum(numbers) / len(numbers)) if numbers else None


connection = sqlite3.connect(database)
stored = dict((row[0], row[1:]) for row in connection.execute("SELECT * FROM hourly"))
expected = {}
for number, line in enumerate(sys.stdin, 1):
    possible = moments(*map(int, line.split())) & stored.keys()
    if len(possible) != 1:
        print("no row, or two, for", line.strip(), possible)
        continue
    expected[possible.pop()] = (number, None if number % 7 == 0 else -number)
if stored != expected:
    print("the hourly table differs", len(stored), len(expected), set(stored.items()) ^ set(expected.items()))

months = connection.execute("SELECT * FROM monthly ORDER BY month").fetchall()
for month in range(1, 13):
    hours = [values for key, values in expected.items()
             if (lambda t: (t.year, t.month))(datetime.fromtimestamp(key, zone)) == (year, month)]
    summary = (sum(first for first, _ in hours) if hours else None,
               truncated_mean([second for _, second in hours if second is not None]))
    (start,) = moments(year, month, 1, 0)
    if months[month - 1] != (start, *summary):
        print("month", month, "is", months[month - 1], "and should be", (start, *summary))
print("checked", len(expected), len(months))
