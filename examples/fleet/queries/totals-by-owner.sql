-- Files and bytes of each owner on each server, as of the latest scan of each root.
select server, if(user = '', toString(uid), user) as owner, count() as files, sum(size) as bytes
from fleet
where scan global in (select argMax(scan, scanned) from scans group by server, root)
group by server, owner
order by bytes desc, server, owner;
