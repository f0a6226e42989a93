-- Candidates for the same content on two servers: equal name, size and time of modification.
select name, size, modified, count() as copies, arrayStringConcat(arraySort(groupUniqArray(server)), ',') as servers,
  size * (copies - 1) as reclaimable
from (
  select server, size, modified,
    substring(path, length(path) + 2 - position(reverse(path), substring(path, 1, 1))) as name
  from fleet
  where scan global in (select argMax(scan, scanned) from scans group by server, root)
    and size > 0 and type = 'file')
group by name, size, modified
having uniqExact(server) > 1
order by reclaimable desc, name, size, modified
limit 1000;
