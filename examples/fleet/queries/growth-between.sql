-- How much each root grew between two dates: from its first scan in the time to its last (edit the dates).
with toDate('1970-01-01') as first_date, toDate('2105-12-31') as last_date
select server, root, min(day) as first_day, max(day) as last_day,
  argMin(bytes, scanned) as bytes_before, argMax(bytes, scanned) as bytes_after,
  toInt64(bytes_after) - toInt64(bytes_before) as growth,
  toInt64(argMax(files, scanned)) - toInt64(argMin(files, scanned)) as more_files
from scans
where day between first_date and last_date
group by server, root
order by growth desc, server, root;
