#!/usr/bin/env python3
"""Writes demo/data/baskets.csv: the lines of a shop's receipts (receipt number; good),
Windows-1251, ';' between fields, one line per good bought. Some goods go together
more often than chance (tea with honey and biscuits, coffee with sugar), so that the
association rules have something to find. Run once; the file is kept in the repository."""
import random

random.seed(20240915)
goods = ["Чай зелёный", "Кофе молотый", "Сахар-песок", "Мёд липовый", "Печенье «Овсяное»",
         "Шоколад горький", "Вода минеральная", "Сок яблочный", "Хлеб ржаной", "Молоко"]
bundles = [(["Чай зелёный", "Мёд липовый"], 0.18), (["Чай зелёный", "Печенье «Овсяное»"], 0.12),
           (["Кофе молотый", "Сахар-песок"], 0.2), (["Хлеб ржаной", "Молоко"], 0.25)]
lines = ["Чек;Товар"]
for receipt in range(1, 401):
    basket = set()
    for bundle, chance in bundles:
        if random.random() < chance:
            basket.update(bundle)
    while len(basket) < 2 or random.random() < 0.35:
        basket.add(random.choice(goods))
    for good in sorted(basket):
        lines.append(f"{receipt};{good}")
with open("data/baskets.csv", "w", encoding="cp1251", newline="\r\n") as out:
    out.write("\n".join(lines) + "\n")
