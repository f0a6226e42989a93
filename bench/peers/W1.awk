# Files by size and date. Tabulon takes the mode bit 020 for the mark of a directory.
pass == 1 && int($9 / 16) % 2 == 0 {
  ++bands[$5 <= 131072 ? ($5 <= 4096 ? 1 : $5 <= 32768 ? 2 : 3) \
      : $5 <= 8388608 ? ($5 <= 1048576 ? 4 : 5) : $5 <= 67108864 ? 6 : $5 <= 536870912 ? 7 : 8]
  ++modified[$6 < "2022-07" ? ($6 < "2021" ? 1 : 2) : $6 < "2023-10" ? 3 : $6 < "2024-09" ? 4 : 5]
  ++accessed[$7 < "2022-07" ? ($7 < "2021" ? 1 : 2) : $7 < "2023-10" ? 3 : $7 < "2024-09" ? 4 : 5]
  ++created[$8 < "2022-07" ? ($8 < "2021" ? 1 : 2) : $8 < "2023-10" ? 3 : $8 < "2024-09" ? 4 : 5]
}
function older(kind, counts,   i, sum) {
  split("01-Jan-21 01-Jul-22 01-Oct-23 01-Sep-24", days, " ")
  for (i = 1; i <= 4; ++i) print kind, days[i], sum += counts[i] > (out "/W1")
}
END {
  split("4096 32768 131072 1048576 8388608 67108864 536870912 more", limits, " ")
  for (i = 1; i <= 8; ++i) print "size", limits[i], bands[i] + 0 > (out "/W1")
  older("CREATE", created); older("MODIFY", modified); older("ACCESS", accessed)
}
