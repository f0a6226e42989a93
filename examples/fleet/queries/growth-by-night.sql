-- Files and bytes of each root night by night, and how much it grew since the scan before.
select server, root, night, files, bytes, growth
from (
  select server, root, groupArray(scanned) as nights, groupArray(files) as file_counts,
    groupArray(bytes) as sizes,
    arrayMap((size, i) -> if(i = 1, 0, toInt64(size) - toInt64(sizes[i - 1])),
      sizes, arrayEnumerate(sizes)) as growths
  from (select * from scans order by server, root, scanned)
  group by server, root)
array join nights as night, file_counts as files, sizes as bytes, growths as growth
order by server, root, night;
