function hit(tag) { ++hits[tag]; hitBytes[tag] += $5 }
pass == 1 && $4 != "dir" {
  if ($3 == "log") hit("logs")
  if ($3 == "pdf" && $2 ~ /^report/) hit("reports")
  if (index($2, "draft")) hit("drafts")
  if ($3 == "txt" && substr($1, 1, 21) == "/export/projects/home") hit("below-home")
  if ($5 > 268435456) hit("huge")
  if ($5 >= 524288 && $5 < 8388608 && $6 < "2022-07") hit("middling-old")
  if ($10 == 1004 && $7 < "2024") hit("unread")
  if ($5 > 1048576 && ($3 == "mp4" || $3 == "mov" || $3 == "avi")) hit("media")
  if ($6 >= "2024-12" && $11 != 100) hit("last-month")
  if (($10 == 1002 || $10 == 1005 || $11 == 107) && ($8 < "2021-07" || $5 < 50)) hit("leavers")
}
END {
  n = split("logs reports drafts below-home huge middling-old unread media last-month leavers", tags, " ")
  for (i = 1; i <= n; ++i) printf "%s,%d,%.0f\n", tags[i], hits[tags[i]], hitBytes[tags[i]] > (out "/W5")
}
