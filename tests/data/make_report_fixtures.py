#!/usr/bin/env python3
"""Writes the report fixtures of tests/data and what tdctl's report verbs must print on them.

The files are packed by hand after the documented layouts (with the helpers of make_fixtures.py),
and the expected reports are worked out here from the documented rules of the reports, with
nothing of the program's code. Run it from anywhere; it rewrites the files next to it. The files
are committed, so the tests don't need Python.

reports/data/        companies in three sections (one without tickets), a level 3 company, two
                     companies of one section sharing a code, a company of a group without a
                     level 1 company; a fuel list with a gap; 15 tickets
reports/*.out        the expected standard output of each verb, on the working date 15.03.2024
reports_bad_group/   a level 1 company coded above 100: every report refuses
"""

import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import make_fixtures as mf  # noqa: E402

T = mf.Ticket
WORKING = "15.03.2024"
PERIOD = ("01.03.2024", "15.03.2024")

COMPANIES = [  # code, kind, group, subgroup, name; record numbers from 1
    ("00010", "", "", "", "Сеть Север"),             # 1: level 1, section 10
    ("00020", "", "", "", "Сеть Юг"),                # 2: level 1, section 20
    ("00101", "1", "00010", "000", "ООО Ромашка"),   # 3
    ("00102", "1", "00010", "", "ЗАО Вектор"),       # 4
    ("00050", "1", "00010", "00101", "ИП Петров"),   # 5: level 3 below 101, listed by its code 50
    ("00201", "1", "00020", "", "ООО Трасса"),       # 6: shares its code with 7, which wins
    ("00201", "1", "00020", "", "ООО Трасса-2"),     # 7
    ("00030", "", "", "", "Сеть Запад"),             # 8: level 1 without any ticket
    ("00005", "1", "00099", "", "ООО Сирота"),       # 9: group 99 has no level 1 company
]
FUELS = [("А-92", 50.5), None, ("ДТ", 60.0), ("А-95", 55.25)]  # slot 2 unnamed
STATIONS = ["АЗС-1 Центр", "АЗС-2 Мост", "АЗС-3 Лес"]

TICKETS = [
    T("100001", 3, 1, 20, "01.03.2024"),
    T("100002", 3, 1, 20, "01.03.2024", used=1, station=1, real=18.5, redeemed="15.03.2024"),
    T("100003", 4, 3, 10, "05.03.2024", valid=("01.03.2024", "31.03.2024")),
    T("100004", 5, 1, 15, "10.03.2024", mask=65536 + 2 + 8),
    T("100005", 6, 2, 10, "10.03.2024", used=1, station=2, real=10.0, redeemed="12.03.2024"),
    T("100006", 7, 2, 25, "11.03.2024"),
    T("100007", 1, 1, 50, "11.03.2024"),   # the level 1 company's own: in no section
    T("100008", 9, 1, 30, "11.03.2024"),   # group without a section
    T("100009", 3, 4, 20, "12.03.2024"),   # slot 4: no column shows it
    T("100010", 3, 1, 20, "16.03.2024"),   # sold after the working date
    T("100011", 4, 3, 10, "05.03.2024", deleted=1),
    T("100012", 4, 1, 10, "20.02.2024", used=1, station=1, real=9.75, redeemed="15.03.2024"),
    T("100001", 5, 3, 10, "14.03.2024", used=1, station=3, real=7.25, redeemed="16.03.2024"),
    T("100013", 3, 1, 20, "13.03.2024", used=1, station=1, real=20.0, redeemed="14.03.2024"),
    # Sold on the period's last day, the working date, and valid up to that day.
    T("100014", 4, 1, 15, "15.03.2024", valid=("01.03.2024", "15.03.2024")),
]


def company_file(companies):
    out = b""
    for code, kind, group, subgroup, name in companies:
        out += mf.company_record(code, kind, group, subgroup, name)
    return out


def fuel_file():
    out = b""
    for fuel in FUELS:
        out += mf.fuel_record(fuel[0], fuel[1], "01.03.2024") if fuel else b"\0" * 546
    return out + b"\0" * (546 * (8 - len(FUELS)))


def stations_file():
    return b"".join(mf.name_record(n) for n in STATIONS)


N = mf.number
day = mf.day


def fuel_names():
    return [f[0] for f in FUELS if f]


def code_value(text):
    return int(text.strip() or "0")


# ---- the balance family ------------------------------------------------------------------------

def in_scope(t, period):
    if t.deleted:
        return False
    if period:
        return day(PERIOD[0]) <= day(t.sold) <= day(PERIOD[1])
    return day(t.sold) <= day(WORKING)


def balance(kind, period):
    """kind: full, sales, redemptions, left."""
    acc = {}
    for t in TICKETS:
        if not in_scope(t, period):
            continue
        sold, red, left = acc.setdefault(t.company, ([0.0] * 8, [0.0] * 8, [0.0] * 8))
        if t.used:
            red[t.fuel - 1] += t.real
            sold[t.fuel - 1] += t.real
        else:
            sold[t.fuel - 1] += t.volume
            left[t.fuel - 1] += t.volume
    names = fuel_names()
    columns = len(names)
    words = {"full": "прод./спис./ост.", "sales": "продано", "redemptions": "списано",
             "left": "остаток"}
    totals = {"full": "        Всего остаток:", "sales": "        Всего продано:",
              "redemptions": "        Всего списано:", "left": "        Всего остаток:"}
    titles = {"full": "Продажа ГСМ (талоны) на ", "sales": "Продажа ГСМ (талоны) на ",
              "redemptions": "Списание ГСМ (талоны) на ", "left": "Остатки ГСМ (талоны) на "}

    def figure(company, j):
        sold, red, left = acc[company]
        return {"sales": sold, "redemptions": red}.get(kind, left)[j]

    sections = {}
    for number, (code, kind_code, group, subgroup, name) in enumerate(COMPANIES, 1):
        if not group.strip() and not subgroup.strip():
            sections[code_value(code)] = name
    lines = [titles[kind] + ("период [%s - %s]" % PERIOD if period else WORKING)]
    grand = [0.0] * columns
    for g in sorted(sections):
        members = {}
        for number, (code, kind_code, group, subgroup, name) in enumerate(COMPANIES, 1):
            if number in acc and group.strip() and code_value(group) == g:
                members[code_value(code)] = number  # the later one wins
        lines.append(sections[g] + "".join("\t" + n for n in names))
        lines.append("".join("\t" + words[kind] for _ in names))
        lines.append("")
        sums = [0.0] * columns
        for code in sorted(members):
            number = members[code]
            c = COMPANIES[number - 1]
            row = c[2].strip() + ":" + c[0].strip() + " " + c[4]
            for j in range(columns):
                sold, red, left = acc[number]
                if kind == "full":
                    row += "\t%s  /  %s  /  %s" % (N(sold[j]), N(red[j]), N(left[j]))
                else:
                    row += "\t" + N(figure(number, j))
                sums[j] += figure(number, j)
                grand[j] += figure(number, j)
            lines.append(row)
        lines.append("        Итого по разделу:" + "".join("\t" + N(s) for s in sums))
        lines.append("")
    lines.append(totals[kind] + "".join("\t" + N(s) for s in grand))
    return "\n".join(lines) + "\n"


# ---- statistics --------------------------------------------------------------------------------

HEADERS = ["Номер", "Литраж", "Дата продажи", "Действ. с", "Действ. по", "Действ. на запр.",
           "Дата списания", "Литраж списания", "Заправка", "Клиент"]


def stations_of(mask):
    rest = mask - 65536
    noted = []
    for i in range(16, 0, -1):
        if 2 ** i <= rest:
            rest -= 2 ** i
            noted.append(i)
    return ", ".join(str(i) for i in sorted(noted))


def cells(t, station_variant):
    litres = N(t.volume)
    if t.used and not station_variant:
        litres += " / " + N(t.real)
    return [t.serial, litres, t.sold,
            t.valid[0] if t.valid else "", t.valid[1] if t.valid else "",
            "№№ " + stations_of(t.mask) if t.mask else "",
            t.redeemed or "", N(t.real) if t.used else "",
            STATIONS[t.station - 1] if t.station else "", COMPANIES[t.company - 1][4]]


def key_of(company):
    code, kind, group, subgroup, name = company
    if subgroup.strip() and subgroup.strip() != "000":
        return "1:%s:%s:%s" % (group.strip(), subgroup.strip(), code.strip())
    if not group.strip():
        return "1:" + code.strip()
    return "1:%s:%s" % (group.strip(), code.strip())


def station_stats(station, fuel, period):
    name = STATIONS[station - 1]
    when = " за период [%s - %s]" % PERIOD if period else " за " + WORKING
    lines = ["Статистика списаний по  " + name + when + ". ГСМ " + FUELS[fuel - 1][0]]
    count, total = 0, 0.0
    for t in TICKETS:
        if not t.used or t.deleted or t.fuel != fuel or t.station != station:
            continue
        d = day(t.redeemed)
        if (day(PERIOD[0]) <= d <= day(PERIOD[1])) if period else d == day(WORKING):
            lines.append("\t".join(cells(t, True)) + "\t*1")
            count += 1
            total += t.real
    lines.append("")
    lines.append("\t".join(["Итого %d шт" % count, N(total), "", "", "", "", "", N(total), "",
                            ""]) + "\t*0")
    lines += ["Продано:\t%s л" % N(total), "Списано:\t%s л" % N(total)]
    return "\n".join(lines) + "\n"


def buyer_stats(key, fuel, period):
    numbers = [n for n, c in enumerate(COMPANIES, 1) if key_of(c) == key]
    when = "период [%s - %s]" % PERIOD if period else WORKING
    title = "Статистика талонов ГСМ '%s' на %s. Клиент: %s {%s}" % (
        FUELS[fuel - 1][0], when, COMPANIES[numbers[0] - 1][4], key)
    lines = [title]
    count, sold, red = 0, 0.0, 0.0
    for t in TICKETS:
        if t.deleted or t.fuel != fuel or t.company not in numbers:
            continue
        d = day(t.sold)
        if (day(PERIOD[0]) <= d <= day(PERIOD[1])) if period else d <= day(WORKING):
            lines.append("\t".join(cells(t, False)) + "\t*%d" % t.used)
            count += 1
            sold += t.volume
            red += t.real if t.used else 0.0
    lines.append("")
    lines.append("\t".join(["Продано", N(sold), "%d шт" % count, "", "", "", "Списано", N(red),
                            "", ""]) + "\t*0")
    lines.append("\t".join(["", "", "", "", "", "", "", "Остаток", N(sold - red), ""]) + "\t*0")
    lines += ["Продано:\t%s л" % N(sold), "Списано:\t%s л" % N(red),
              "Остаток:\t%s л" % N(sold - red)]
    return "\n".join(lines) + "\n"


# ---- the ticket information --------------------------------------------------------------------

def ticket_info(serial, fuel, volume):
    for index, t in enumerate(TICKETS):
        if not t.deleted and t.serial == serial and t.fuel == fuel and t.volume == volume:
            label = "Талон был списан!" if t.used == 1 else "Талон был продан!"
            name = FUELS[fuel - 1][0]
            return "\n".join([
                "Информация по талону ГСМ '%s' на %s" % (name, WORKING),
                label, "Информация по талону ГСМ '%s'" % name,
                "record\t%d" % (index + 1 + 6),  # records offset 6
                "\t".join(cells(t, False))]) + "\n"
    return ""


# ---- the liability -----------------------------------------------------------------------------

def liability(at):
    open_litres, expiring, by_section = [0.0] * 8, [0.0] * 8, {}
    for t in TICKETS:
        if t.deleted or t.used or day(t.sold) > day(at):
            continue
        open_litres[t.fuel - 1] += t.volume
        if t.valid and day(at) <= day(t.valid[1]) <= day(at) + 30:
            expiring[t.fuel - 1] += t.volume
        c = COMPANIES[t.company - 1]
        section = code_value(c[2] if c[2].strip() else c[0])
        by_section.setdefault(section, [0.0] * 8)[t.fuel - 1] += t.volume
    level1 = {}
    for c in COMPANIES:
        if not c[2].strip() and not c[3].strip():
            level1.setdefault(code_value(c[0]), c[4])
    lines = ["Обязательства по талонам ГСМ на " + at]
    total = 0.0
    for slot in range(1, 9):
        fuel = FUELS[slot - 1] if slot <= len(FUELS) else None
        name, price = (fuel[0], fuel[1]) if fuel else ("", 0.0)
        if not fuel and open_litres[slot - 1] == 0:
            continue
        total += open_litres[slot - 1] * price
        lines.append("\t".join(["Всего", name, N(price), N(open_litres[slot - 1]),
                                N(open_litres[slot - 1] * price), N(expiring[slot - 1])]))
    for section in sorted(by_section):
        for slot in range(1, 9):
            litres = by_section[section][slot - 1]
            if litres == 0:
                continue
            fuel = FUELS[slot - 1] if slot <= len(FUELS) else None
            name, price = (fuel[0], fuel[1]) if fuel else ("", 0.0)
            lines.append("\t".join(["%d %s" % (section, level1.get(section, "")), name, N(price),
                                    N(litres), N(litres * price), ""]))
    lines.append("Итого\t\t\t\t%s\t" % N(total))
    return "\n".join(lines) + "\n"


# ---- CSV ---------------------------------------------------------------------------------------

def csv_cell(cell):
    if cell and any(ch.isdigit() for ch in cell) and all(ch in "0123456789,-/ " for ch in cell):
        cell = cell.replace(",", ".")
    if any(ch in cell for ch in ",\"\n;"):
        cell = '"' + cell.replace('"', '""') + '"'
    return cell


def sales_csv():
    text = balance("sales", False).split("\n")[1:-1]
    lines = [",".join(csv_cell(c) for c in ["Компания"] + fuel_names())]
    lines += [",".join(csv_cell(c) for c in row.split("\t")) for row in text]
    return "\n".join(lines) + "\n"


def main():
    count = "%08d" % len(TICKETS)
    mf.write("reports/data/TD.cdb", mf.database(count, TICKETS))
    mf.write("reports/data/Company_Db.dat", company_file(COMPANIES))
    mf.write("reports/data/Fuel.dat", fuel_file())
    mf.write("reports/data/Establishments.dat", stations_file())
    for kind in ("full", "sales", "redemptions", "left"):
        mf.write("reports/%s.out" % kind, balance(kind, False))
        if kind != "left":
            mf.write("reports/%s-period.out" % kind, balance(kind, True))
    mf.write("reports/sales-csv.out", sales_csv())
    mf.write("reports/stats-station.out", station_stats(1, 1, False))
    mf.write("reports/stats-station-period.out", station_stats(1, 1, True))
    mf.write("reports/stats-buyer.out", buyer_stats("1:00010:00101", 1, False))
    mf.write("reports/stats-buyer-period.out", buyer_stats("1:00010:00101", 1, True))
    mf.write("reports/stats-buyer-level3.out", buyer_stats("1:00010:00101:00050", 3, False))
    # A coupon valid for a period, and one valid at two stations.
    mf.write("reports/stats-buyer-dates.out", buyer_stats("1:00010:00102", 3, False))
    mf.write("reports/stats-buyer-mask.out", buyer_stats("1:00010:00101:00050", 1, False))
    mf.write("reports/ticket-redeemed.out", ticket_info("100002", 1, 20))
    mf.write("reports/ticket-sold.out", ticket_info("100003", 3, 10))
    # The number 100001 twice, with two fuels: the fuel decides.
    mf.write("reports/ticket-same-number.out", ticket_info("100001", 3, 10))
    # A deleted coupon shows nothing.
    mf.write("reports/ticket-deleted.out", ticket_info("100011", 3, 10))
    mf.write("reports/empty.out", "")
    mf.write("reports/liability.out", liability(WORKING))

    bad = list(COMPANIES)
    bad[7] = ("00150", "", "", "", "Сеть Запад")
    mf.write("reports_bad_group/data/Company_Db.dat", company_file(bad))


if __name__ == "__main__":
    main()
