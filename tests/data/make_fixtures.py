#!/usr/bin/env python3
"""Writes the fixture installations of tests/data and the outputs tdctl is expected to give on them.

Everything here follows the documented file layouts and rules, and nothing of the program's own
code: the bytes are packed by hand, the checksum is the byte sum of the header text with the older
magic, and the totals are summed by the rule of the full rebuild. Run it from anywhere; it rewrites
the files next to it. The files are committed, so the tests don't need Python.

installation/      td.ini and a data folder: 4 companies, 3 towns, 3 stations, 4 fuel grades,
                   3 user volumes, 20 tickets
<damage>/data/     the files that differ from installation/data; a test copies installation/ and
                   then these over it
<fixture>/*.out    what tdctl prints on standard output, with the installation's folder as HOME
"""

import datetime
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))

WORKING_DATE = "15.03.2024"
PROGRAM_VERSION = "1.0.3"  # what line 2 of the header says wrote it


def day(text):
    d, m, y = (int(x) for x in text.split("."))
    return float((datetime.date(y, m, d) - datetime.date(1899, 12, 30)).days)


D = day(WORKING_DATE)


def text(value, width):
    raw = value.encode("cp1251")[:width]
    return raw + b" " * (width - len(raw))


# ---- reference files ---------------------------------------------------------------------------

TOWNS = ["Москва", "Тверь", "Клин"]
STATIONS = ["АЗС-1 Тверская", "АЗС-2 Клинская", "АЗС-3 Северная"]
COMPANIES = [  # code, kind, group, subgroup, name
    ("00001", "1", "00010", "000", "ООО Ромашка"),
    ("00002", "1", "00010", "000", "ЗАО Вектор"),
    ("00003", "1", "00020", "00021", "ИП Петров"),
    ("00004", "1", "00020", "00021", "ООО Трасса"),
]
FUELS = [("А-92", 52.3, "01.03.2024"), ("А-95", 56.1, "01.03.2024"), ("ДТ", 61.45, "20.02.2024"),
         ("А-98", 68.0, "01.03.2024")]
USER_VOLUMES = [15.0, 25.0, 7.5]


def name_record(name):  # 256 bytes
    return struct.pack("<B255s", 1, text(name, 255))


def company_record(code, kind, group, subgroup, name):  # 276 bytes
    return struct.pack("<B5s5s5s5s255s", 1, text(code, 5), text(kind, 5), text(group, 5),
                       text(subgroup, 5), text(name, 255))


def fuel_record(name, price, price_date):  # 546 bytes
    return struct.pack("<B32sddB31d31d", 1, text(name, 32), price, day(price_date), 0,
                       *([0.0] * 31), *([0.0] * 31))


def user_volume_record(litres):  # 16 bytes
    return struct.pack("<Bd7s", 1, litres, b"\0" * 7)


def towns_file():
    return b"".join(name_record(n) for n in TOWNS)


def stations_file():
    return b"".join(name_record(n) for n in STATIONS)


def company_file():
    return b"".join(company_record(*c) for c in COMPANIES)


def fuel_file():
    used = b"".join(fuel_record(*f) for f in FUELS)
    return used + b"\0" * (546 * (8 - len(FUELS)))


def user_volume_file():
    return b"".join(user_volume_record(v) for v in USER_VOLUMES)


# ---- tickets -----------------------------------------------------------------------------------

class Ticket:
    def __init__(self, serial, company, fuel, volume, sold, used=0, station=0, real=0.0,
                 redeemed=None, deleted=0, valid=None, mask=0):
        self.__dict__.update(locals())
        del self.__dict__["self"]

    def pack(self):
        valid_from, expire = (day(self.valid[0]), day(self.valid[1])) if self.valid else (0.0, 0.0)
        return struct.pack(
            "<BBBBid6siiiBBddddi", self.used, self.deleted, 0, self.fuel, self.volume, self.real,
            self.serial.encode("ascii"), self.company, 1, self.station, 1 if self.valid else 0,
            1 if self.mask else 0, day(self.sold),
            day(self.redeemed) if self.redeemed else 0.0, valid_from, expire, self.mask)


T = Ticket
TICKETS = [
    T("100001", 1, 1, 20, "05.03.2024"),
    T("100002", 1, 1, 20, "05.03.2024"),
    T("200001", 1, 2, 10, "05.03.2024", used=1, station=1, real=10.0, redeemed="13.03.2024"),
    T("200002", 2, 2, 10, "10.03.2024"),
    T("300001", 2, 3, 20, "10.03.2024", used=1, station=2, real=19.5, redeemed="15.03.2024"),
    T("300002", 2, 3, 20, "10.03.2024", deleted=1),
    T("000015", 3, 1, 15, "12.03.2024"),
    T("000016", 3, 1, 15, "12.03.2024", used=1, station=1, real=15.0, redeemed="15.03.2024"),
    T("400001", 3, 4, 25, "14.03.2024"),
    T("200003", 4, 2, 10, "16.03.2024"),  # sold after the working date
    T("200004", 4, 2, 10, "15.03.2024"),
    T("300003", 4, 3, 20, "15.03.2024", used=1, station=3, real=0.25, redeemed="15.03.2024"),
    T("400002", 1, 4, 10, "24.02.2024", used=1, station=2, real=9.75, redeemed="15.03.2024"),
    T("100003", 1, 1, 20, "24.02.2024", used=1, station=1, real=20.0, redeemed="15.03.2024",
      deleted=1),
    T("200005", 2, 2, 10, "01.03.2024", valid=("01.03.2024", "31.03.2024")),
    T("200006", 2, 2, 10, "01.03.2024", mask=65536 + 2 + 4),
    T("300004", 3, 3, 20, "13.03.2024", used=1, station=1, real=20.0, redeemed="14.03.2024"),
    T("100004", 4, 1, 20, "13.03.2024"),
    T("200007", 1, 2, 10, "13.03.2024", used=1, station=3, real=10.0, redeemed="15.03.2024"),
    T("400003", 4, 4, 10, "14.03.2024", deleted=1),  # the last one: cut in the short copy
]
# Written behind the counted ones, as a sale that died before rewriting the header leaves them.
UNCOUNTED = [
    T("100005", 1, 1, 20, "14.03.2024"),
    T("100006", 2, 1, 20, "14.03.2024"),
    T("400004", 3, 4, 10, "15.03.2024", used=1, station=2, real=10.0, redeemed="15.03.2024"),
]


# ---- the database file -------------------------------------------------------------------------

def header_lines(count_text):
    return ["TD HDR *Ver 1.84.745*", "TD version: " + PROGRAM_VERSION, "Record Len: 72",
            "Records offset: 006", "Data type: Tally_depot_DataBase",
            "Amount registered entrys: " + count_text]


def rule_checksum(lines):
    summed = ["TD HDR *Ver 1.01beta*"] + lines[1:6]
    return sum(("".join(l + "\r\n" for l in summed)).encode("ascii"))


def header_page(count_text, stored_checksum=None):
    lines = header_lines(count_text)
    checksum = rule_checksum(lines) if stored_checksum is None else stored_checksum
    body = "".join(l + "\r\n" for l in lines) + "Crc is: %08X\r\n" % checksum
    page = ("PAGE    " * 44)[:350]
    return (body + page[len(body):]).encode("ascii")


def database(count_text, tickets, stored_checksum=None):
    return header_page(count_text, stored_checksum) + b"\0" * 82 + b"".join(
        t.pack() for t in tickets)


# ---- expected outputs --------------------------------------------------------------------------

def number(value):
    """The system's number text: up to 15 significant digits, decimal comma."""
    if value == int(value):
        return str(int(value))
    return ("%.15g" % value).replace(".", ",")


def totals(tickets):
    """Company and station totals of a full rebuild on the working date."""
    companies, stations = {}, {}
    for t in tickets:
        if t.deleted or day(t.sold) > D:
            continue
        if not t.used:
            companies.setdefault(t.company, [0.0] * 10)[t.fuel] += t.volume
        elif t.redeemed and day(t.redeemed) == D:
            stations.setdefault(t.station, [0.0] * 10)[t.fuel] += t.real
    return companies, stations


def totals_text(table):
    return "".join(
        str(n) + "".join("\t" + number(v) for v in table[n]) + "\n"
        for n in sorted(table) if any(table[n]))


def verify_text(count, checksum_stored, checksum_rule, records_in_file, ok):
    lines = [
        "database: HOME/data/TD.cdb",
        "header version: 1.84.745",
        "program version: " + PROGRAM_VERSION,
        "record length: 72",
        "records offset: 6",
        "data type: Tally_depot_DataBase",
        "count: %d" % count,
        "checksum: %s (stored %08X, by the rule %08X)" % (
            "agrees" if checksum_stored == checksum_rule else "DOES NOT AGREE", checksum_stored,
            checksum_rule),
        "records: %d in the file, %d counted" % (records_in_file, count),
    ]
    return "\n".join(lines) + "\n" + ("ok\n" if ok else "")


def write(relative, data):
    path = os.path.join(HERE, relative)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as out:
        out.write(data.encode("utf-8") if isinstance(data, str) else data)


TD_INI = """[Tally depot beta]
User = Бухгалтер
Company = ООО Топливная компания
Databases = \\data
Company_DB = Company_Db.dat
Towns_DB = Towns.dat
Establishment_DB = Establishments.dat
DB_Ext = ddb
Database = TD.cdb
Fuel_DB = Fuel.dat
BackUp = TD.cbk
User_Volume = UsVol.dat
CS_PATH = Not define
Cache_Diff = Cache_d.dat
Cache_Used = Cache_u.dat
Cache_User = Cache_Users.dat
[end]
"""


def fixture(name, database_bytes=None, counted=None, verify=None):
    if database_bytes is not None:
        write(name + "/data/TD.cdb", database_bytes)
    if counted is not None:
        companies, stations = totals(counted)
        write(name + "/totals-buyers.out", totals_text(companies))
        write(name + "/totals-stations.out", totals_text(stations))
    if verify is not None:
        write(name + "/verify.out", verify)


def main():
    count20 = "%08d" % len(TICKETS)
    sum20 = rule_checksum(header_lines(count20))

    write("installation/td.ini", TD_INI.replace("\n", "\r\n"))
    write("installation/data/Towns.dat", towns_file())
    write("installation/data/Establishments.dat", stations_file())
    write("installation/data/Company_Db.dat", company_file())
    write("installation/data/Fuel.dat", fuel_file())
    write("installation/data/UsVol.dat", user_volume_file())
    fixture("installation", database(count20, TICKETS), TICKETS,
            verify_text(20, sum20, sum20, 20, True))
    write("installation/fuel.out", "".join(
        "%d\t%s\t%s\t%s\n" % (i + 1, f[0], number(f[1]), f[2]) for i, f in enumerate(FUELS)) +
        "".join("%d\t\t0\t\n" % i for i in range(len(FUELS) + 1, 9)))
    write("installation/station.out", "".join(
        "%d\t%s\n" % (i, STATIONS[i - 1] if i <= len(STATIONS) else "") for i in range(1, 17)))
    write("installation/volume.out", "".join(
        "%d\t%s\n" % (i + 1, number(v)) for i, v in enumerate(USER_VOLUMES)))

    # Cut in the middle of the last ticket, a deleted one: 40 of its 72 bytes are there.
    full = database(count20, TICKETS)
    fixture("short_record", full[:len(full) - 72 + 40], TICKETS,
            verify_text(20, sum20, sum20, 19, False))

    # Six lines of garbage where the header was; the records behind it are intact. The header
    # reads as one of no tickets, at offset 0.
    garbage = ["%%%% lost cluster %%%%", "qwertyuiop asdfghjkl zxcvbnm",
               "~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~", "\x7f\x7f\x7f garbage \x7f\x7f\x7f",
               "PAGE    PAGE    PAGE    PAGE", "no header here"]
    head = "".join(l + "\r\n" for l in garbage).encode("latin-1")
    head += b"x" * (350 - len(head))
    fixture("garbage_head", head + full[350:], [])

    # One digit of the stored checksum changed; all else as it was.
    bad_sum = (sum20 + 1) if (sum20 & 0xF) != 0xF else (sum20 - 1)
    fixture("bad_checksum", database(count20, TICKETS, bad_sum), TICKETS,
            verify_text(20, bad_sum, sum20, 20, False))

    # Whole records behind the counted ones.
    fixture("uncounted_records", database(count20, TICKETS + UNCOUNTED), TICKETS,
            verify_text(20, sum20, sum20, 23, False))

    # The count's "2" edited to "1" by hand: the checksum was made for 20.
    fixture("smaller_count", database("00000010", TICKETS, sum20), TICKETS[:10],
            verify_text(10, sum20, rule_checksum(header_lines("00000010")), 20, False))

    # A count of -1 written as a header is written (a failed read's -1 given to the writer):
    # the checksum agrees with it.
    minus = "-00000001"
    fixture("negative_count", database(minus, TICKETS), [],
            verify_text(-1, rule_checksum(header_lines(minus)), rule_checksum(header_lines(minus)),
                        20, False))

    # A count far beyond the records, with a checksum that agrees: the records past the end read
    # as zero records, which add to no total.
    huge = "90000020"
    fixture("huge_count", database(huge, TICKETS), TICKETS,
            verify_text(90000020, rule_checksum(header_lines(huge)),
                        rule_checksum(header_lines(huge)), 20, False))

    # The header alone, as the first start writes it: 350 bytes, no gap, no records.
    zero = "00000000"
    fixture("empty_database", header_page(zero), [],
            verify_text(0, rule_checksum(header_lines(zero)), rule_checksum(header_lines(zero)),
                        0, True))

    # Reference files whose size is no multiple of their record length. What lies in the file
    # is read; the missing rest of a record reads as zeros.
    odd = "odd_references/data/"
    write(odd + "Towns.dat", towns_file()[:33])  # what the check at start reads of record 1
    # A fifth company cut after its codes.
    write(odd + "Company_Db.dat",
          company_file() + company_record("00005", "1", "00030", "000", "ООО Обрыв")[:30])
    # The third station cut inside the blanks behind its name: it reads as the whole name.
    third = name_record(STATIONS[2])[:1 + len(STATIONS[2].encode("cp1251")) + 7]
    write(odd + "Establishments.dat", stations_file()[:2 * 256] + third)
    # The fourth grade cut inside its (empty) price history; the other four slots missing.
    write(odd + "Fuel.dat", fuel_file()[:3 * 546 + 49 + 20])
    # A fourth volume of 12.5 litres whose reserved bytes are missing.
    write(odd + "UsVol.dat", user_volume_file() + user_volume_record(12.5)[:9])
    write("odd_references/volume.out", "".join(
        "%d\t%s\n" % (i + 1, number(v)) for i, v in enumerate(USER_VOLUMES + [12.5])))


if __name__ == "__main__":
    main()
