# data.table::fread on the text-import benchmark file, on one thread, with the column
# types the Lumivera import is given; the dd.mm.yyyy dates are converted after the
# read, since fread reads only ISO dates by itself. Prints the seconds and the rows.
suppressMessages(library(data.table))
args <- commandArgs(trailingOnly = TRUE)
setDTthreads(1)
start <- Sys.time()
dt <- fread(args[1], sep = ";", dec = ",", header = TRUE, nThread = 1, na.strings = "",
            colClasses = c("integer", "integer", "numeric", "numeric", "character",
                           "logical", "character", "character"))
dt[, date := as.IDate(date, format = "%d.%m.%Y")]
seconds <- as.numeric(Sys.time() - start, units = "secs")
cat(sprintf("seconds=%.3f rows=%d\n", seconds, nrow(dt)))
