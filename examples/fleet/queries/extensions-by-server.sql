-- The ten extensions with the most bytes on each server, as of the latest scan of each root.
select server, lower(ext) as extension, count() as files, sum(size) as bytes
from fleet
where scan global in (select argMax(scan, scanned) from scans group by server, root)
group by server, extension
order by server, bytes desc, extension
limit 10 by server;
