pass == 1 {
  if ($3 != "") { ++extFiles[$3]; extBytes[$3] += $5 }
  ++uidFiles[$10]; uidBytes[$10] += $5
  ++gidFiles[$11]; gidBytes[$11] += $5
}
function totals(kind, files, bytes,   key) {
  for (key in files) printf "%s,%s,%d,%.0f\n", kind, key, files[key], bytes[key] | largestFirst
}
END {
  largestFirst = "sort -t, -k1,1 -k4,4nr > " out "/W3"
  totals("ext", extFiles, extBytes); totals("uid", uidFiles, uidBytes)
  totals("gid", gidFiles, gidBytes); close(largestFirst)
}
