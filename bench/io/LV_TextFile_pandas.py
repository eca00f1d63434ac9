"""pandas.read_csv on the text-import benchmark file, with the column types the
Lumivera import is given (nullable integers and Booleans, so that empty cells stay
missing) and the dd.mm.yyyy dates converted. Prints the seconds and the rows."""
import sys
import time

import pandas as pd

start = time.perf_counter()
frame = pd.read_csv(
    sys.argv[1], sep=";", decimal=",", header=0,
    dtype={"id": "Int32", "qty": "Int32", "price": "float64", "amount": "float64",
           "date": "object", "flag": "boolean", "code": "object", "comment": "object"},
    true_values=["true"], false_values=["false"], keep_default_na=False, na_values=[""])
frame["date"] = pd.to_datetime(frame["date"], format="%d.%m.%Y")
seconds = time.perf_counter() - start
print(f"seconds={seconds:.3f} rows={len(frame)}")
