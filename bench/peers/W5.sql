-- The "limit" has each test made once a row: without it they would be copied into every sum.
create temp table hits as select
  sum(h1) n1, sum(h1 * size) b1,
  sum(h2) n2, sum(h2 * size) b2,
  sum(h3) n3, sum(h3 * size) b3,
  sum(h4) n4, sum(h4 * size) b4,
  sum(h5) n5, sum(h5 * size) b5,
  sum(h6) n6, sum(h6 * size) b6,
  sum(h7) n7, sum(h7 * size) b7,
  sum(h8) n8, sum(h8 * size) b8,
  sum(h9) n9, sum(h9 * size) b9,
  sum(h10) n10, sum(h10 * size) b10
  from (select size,
    name glob '*.log' h1,
    name glob 'report*.pdf' h2,
    name glob '*draft*' h3,
    dir glob '/export/projects/home*' and name glob '*.txt' h4,
    size > 268435456 h5,
    size >= 524288 and size < 8388608 and modified < '2022-07' h6,
    uid = 1004 and accessed < '2024' h7,
    size > 1048576 and (name glob '*.mp4' or name glob '*.mov' or name glob '*.avi') h8,
    modified >= '2024-12' and gid <> 100 h9,
    (uid in (1002, 1005) or gid = 107) and (created < '2021-07' or size < 50) h10
    from f where type <> 'dir' limit -1);
select 'logs', n1, b1 from hits;
select 'reports', n2, b2 from hits;
select 'drafts', n3, b3 from hits;
select 'below-home', n4, b4 from hits;
select 'huge', n5, b5 from hits;
select 'middling-old', n6, b6 from hits;
select 'unread', n7, b7 from hits;
select 'media', n8, b8 from hits;
select 'last-month', n9, b9 from hits;
select 'leavers', n10, b10 from hits;
