select iif(user = '', uid, user) as owner, count(*) as files, sum(size) as bytes
from fleet
where scan in (select scan from latest)
  and modified < datetime(scanned, '-730 days') and accessed < datetime(scanned, '-730 days')
group by owner order by bytes desc, owner;
