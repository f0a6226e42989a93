-- Files by size and date. Tabulon takes the mode bit 020 for the mark of a directory.
create temp table counts as select
  sum(size <= 4096) s1,
  sum(size > 4096 and size <= 32768) s2,
  sum(size > 32768 and size <= 131072) s3,
  sum(size > 131072 and size <= 1048576) s4,
  sum(size > 1048576 and size <= 8388608) s5,
  sum(size > 8388608 and size <= 67108864) s6,
  sum(size > 67108864 and size <= 536870912) s7,
  sum(size > 536870912) s8,
  sum(created < '2021') c1,
  sum(created < '2022-07') c2,
  sum(created < '2023-10') c3,
  sum(created < '2024-09') c4,
  sum(modified < '2021') m1,
  sum(modified < '2022-07') m2,
  sum(modified < '2023-10') m3,
  sum(modified < '2024-09') m4,
  sum(accessed < '2021') a1,
  sum(accessed < '2022-07') a2,
  sum(accessed < '2023-10') a3,
  sum(accessed < '2024-09') a4
  from f where not attributes & 16;
select 'size 4096 ' || s1 || char(10) || 'size 32768 ' || s2 || char(10) ||
  'size 131072 ' || s3 || char(10) || 'size 1048576 ' || s4 || char(10) ||
  'size 8388608 ' || s5 || char(10) || 'size 67108864 ' || s6 || char(10) ||
  'size 536870912 ' || s7 || char(10) || 'size more ' || s8 || char(10) ||
  'CREATE 01-Jan-21 ' || c1 || char(10) || 'CREATE 01-Jul-22 ' || c2 || char(10) ||
  'CREATE 01-Oct-23 ' || c3 || char(10) || 'CREATE 01-Sep-24 ' || c4 || char(10) ||
  'MODIFY 01-Jan-21 ' || m1 || char(10) || 'MODIFY 01-Jul-22 ' || m2 || char(10) ||
  'MODIFY 01-Oct-23 ' || m3 || char(10) || 'MODIFY 01-Sep-24 ' || m4 || char(10) ||
  'ACCESS 01-Jan-21 ' || a1 || char(10) || 'ACCESS 01-Jul-22 ' || a2 || char(10) ||
  'ACCESS 01-Oct-23 ' || a3 || char(10) || 'ACCESS 01-Sep-24 ' || a4 from counts;
