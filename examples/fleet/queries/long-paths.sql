-- Paths of more than 259 characters, the root included, which older Windows programs do not open.
select server, root, lengthUTF8(path) + lengthUTF8(root) as characters, path
from fleet
where scan global in (select argMax(scan, scanned) from scans group by server, root)
  and lengthUTF8(path) + lengthUTF8(root) > 259
order by characters desc, server, root, path;
