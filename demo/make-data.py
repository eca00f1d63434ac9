#!/usr/bin/env python3
"""Writes demo/data/sales.csv: the demo's sales table, as an analyst's export from an
accounting system would look (Windows-1251, ';' between fields, decimal comma, dates
dd.mm.yyyy) with a few damaged values. Run once; the file is kept in the repository."""
import random
from datetime import date, timedelta

random.seed(20240501)
regions = ["Север", "Юг", "Урал", "Сибирь", "Центр", "Поволжье"]
goods = [("Чай зелёный", 189.90), ("Кофе молотый", 412.50), ("Сахар-песок", 74.30),
         ("Мёд липовый", 655.00), ("Печенье «Овсяное»", 98.40), ("Шоколад горький", 143.75),
         ("Вода минеральная", 52.10), ("Сок яблочный", 117.60)]
managers = ["Иванова А.", "Петров С.", "Сидоренко О.", "Ким Е.", "Абрамян Г."]
lines = ["Дата;Регион;Товар;Менеджер;Количество;Цена;Сумма;Оплачено"]
start = date(2024, 1, 1)
for i in range(4000):
    day = start + timedelta(days=random.randrange(366))
    region = random.choice(regions)
    name, price = random.choice(goods)
    price = round(price * random.uniform(0.9, 1.15), 2)
    qty = random.randint(1, 120)
    total = round(qty * price, 2)
    paid = random.random() < 0.8
    fields = [day.strftime("%d.%m.%Y"), region, name, random.choice(managers), str(qty),
              f"{price:.2f}".replace(".", ","), f"{total:.2f}".replace(".", ","),
              "true" if paid else "false"]
    if i % 997 == 13:
        fields[0] = "31.02.2024"      # no such day
    if i % 1231 == 77:
        fields[4] = "много"           # a word where a number belongs
    if i % 1499 == 5:
        fields[5] = "1.234,5"         # a thousands separator the import does not take
    lines.append(";".join(fields))
with open("data/sales.csv", "wb") as out:
    out.write(("\r\n".join(lines) + "\r\n").encode("cp1251"))
