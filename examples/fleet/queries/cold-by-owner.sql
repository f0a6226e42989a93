-- Bytes neither modified nor read in the two years (730 days) before the scan, by owner over all servers.
select if(user = '', toString(uid), user) as owner, count() as files, sum(size) as bytes
from fleet
where scan global in (select argMax(scan, scanned) from scans group by server, root)
  and modified < scanned - 730 * 86400 and accessed < scanned - 730 * 86400
group by owner
order by bytes desc, owner;
