-- Accounts over all Windows shares: on how many roots each is used, how often, and how often it owns.
select class, account, count() as roots, sum(uses) as used, sum(owned) as owns
from accounts
where scan global in (select argMax(scan, scanned) from scans group by server, root)
group by class, account
order by used desc, class, account;
