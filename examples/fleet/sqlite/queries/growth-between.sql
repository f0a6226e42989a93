select server, root, min(day), max(day), bytes_before, bytes_after, bytes_after - bytes_before as growth,
  files_after - files_before
from (
  select server, root, day,
    first_value(bytes) over nights as bytes_before, last_value(bytes) over nights as bytes_after,
    first_value(files) over nights as files_before, last_value(files) over nights as files_after
  from scans where day between '1970-01-01' and '2105-12-31'
  window nights as (partition by server, root order by scanned
    rows between unbounded preceding and unbounded following))
group by server, root order by growth desc, server, root;
