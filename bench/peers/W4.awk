# Two passes: the rows are read a second time for the members.
$4 != "dir" && int($9 / 16) % 2 == 0 {
  key = $3 "\t" $6 "\t" $5
  if (pass == 1) ++members[key]
  else if (members[key] > 1) print $5 "\t" members[key] "\t" key "\t" $1 "/" $2 | inOrder
}
BEGIN { inOrder = "sort -t '\t' -k1,1nr -k2,2nr -k3,5 | cut -f 6- > " out "/W4" }
END { close(inOrder) }
