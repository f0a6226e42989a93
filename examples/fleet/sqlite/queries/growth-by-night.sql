select server, root, scanned as night, files, bytes,
  bytes - lag(bytes, 1, bytes) over (partition by server, root order by scanned) as growth
from scans order by server, root, night;
