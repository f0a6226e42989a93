select server, extension, files, bytes
from (
  select *, row_number() over (partition by server order by bytes desc, extension) as rank
  from (
    select server, lower(ext) as extension, count(*) as files, sum(size) as bytes
    from fleet where scan in (select scan from latest) group by server, extension))
where rank <= 10 order by server, bytes desc, extension;
