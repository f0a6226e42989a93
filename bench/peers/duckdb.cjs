// DuckDB on a table of its own: node duckdb.cjs load|W1|...|W7. Results go to duckdb/, the seconds
// from opening the database to the last result to standard output: the host's own start is no part.
'use strict';
const { DuckDBInstance } = require('@duckdb/node-api');

const load = `create table f as select dir, name, ext, type, size, modified, accessed, created,
    attributes, uid, gid, links, inode, target
  from read_csv('scan.csv', header = false, auto_detect = false, delim = ',', quote = '"',
    force_not_null = ['ext', 'target'], columns = {dir: 'varchar', name: 'varchar', ext: 'varchar',
      type: 'varchar', size: 'bigint', modified: 'timestamp', accessed: 'timestamp',
      created: 'timestamp', attributes: 'uinteger', uid: 'uinteger', gid: 'uinteger',
      links: 'uinteger', inode: 'uinteger', target: 'varchar'})`;

const sizes = [4096, 32768, 131072, 1048576, 8388608, 67108864, 536870912];
const days = ['2021-01-01', '2022-07-01', '2023-10-01', '2024-09-01'];
const shown = ['01-Jan-21', '01-Jul-22', '01-Oct-23', '01-Sep-24'];

// The number of the first limit that holds, counted from 0.
const band = (limits) => 'case ' + limits.map((limit, i) => `when ${limit} then ${i} `).join('') +
  `else ${limits.length} end`;
const dateBand = (column) => band(days.map((day) => `${column} < timestamp '${day}'`));
const rows = (names) => names.map((name, i) => `(${i}, '${name}')`).join();
// Lines of the date distribution in column `column` of `counts`.
const older = (kind, column) => `select '${kind} ' || name || ' ' || coalesce(sum(n), 0) line
  from (values ${rows(shown)}) l(i, name) left join counts on ${column} <= i group by name`;

// The tag of each filter of W5.
const filters = {
  logs: "name like '%.log'",
  reports: "name like 'report%.pdf'",
  drafts: "name like '%draft%'",
  'below-home': "dir like '/export/projects/home%' and name like '%.txt'",
  huge: 'size > 268435456',
  'middling-old': "size >= 524288 and size < 8388608 and modified < timestamp '2022-07-01'",
  unread: "uid = 1004 and accessed < timestamp '2024-01-01'",
  media: "size > 1048576 and (name like '%.mp4' or name like '%.mov' or name like '%.avi')",
  'last-month': "modified >= timestamp '2024-12-01' and gid <> 100",
  leavers: "(uid in (1002, 1005) or gid = 107) and (created < timestamp '2021-07-01' or size < 50)",
};
const tags = Object.keys(filters);

const path = "concat(dir, '/', name)";
const time = (column) => `strftime(${column}, '%Y-%m-%dT%H:%M:%SZ')`;
const noDirectory = "type <> 'dir' and attributes & 16 = 0";
const queries = {
  W1: `with counts as materialized (select ${band(sizes.map((s) => `size <= ${s}`))} s,
      ${dateBand('created')} c, ${dateBand('modified')} m, ${dateBand('accessed')} a, count(*) n
      from f where attributes & 16 = 0 group by all)
    select 'size ' || name || ' ' || coalesce(sum(n), 0) line
      from (values ${rows([...sizes, 'more'])}) l(i, name) left join counts on s = i group by name
    union all ${older('CREATE', 'c')} union all ${older('MODIFY', 'm')}
    union all ${older('ACCESS', 'a')}`,
  W2: `select ${path} from f where size > 4194304 and name like '%.log' and type <> 'dir'`,
  W2b: `select ${path} from f where modified >= timestamp '2024-01-01' and type <> 'dir'`,
  W3: `select case when grouping(ext) = 0 then 'ext,' || ext when grouping(uid) = 0 then 'uid,' || uid
      else 'gid,' || gid end || ',' || count(*) || ',' || sum(size) line
    from f group by grouping sets ((ext), (uid), (gid)) having ext is null or ext <> ''
    order by grouping(ext), grouping(uid), sum(size) desc`,
  W4: `select ${path} from f join (select ext, size, modified, count(*) members from f
      where ${noDirectory} group by all having members > 1) groups using (ext, size, modified)
    where ${noDirectory} order by size desc, members desc, ext, modified`,
  W5: `with hits as materialized (select
      ${tags.map((tag, i) => `count_if(h${i}) n${i}, coalesce(sum(size) filter (h${i}), 0) b${i}`)}
      from (select size, ${tags.map((tag, i) => `${filters[tag]} h${i}`)} from f
        where type <> 'dir'))
    ${tags.map((tag, i) => `select '${tag},' || n${i} || ',' || b${i} from hits`).join(' union all ')}`,
  W7: `select ${path}, case when attributes & 16 = 0 then 'F' else 'D' end, size, ${time('created')},
      ${time('modified')}, ${time('accessed')}, links, inode, uid, gid, target, attributes & 4095
    from f where type <> 'dir'`,
};
const partsOfW6 = ['W1', 'W2', 'W2b', 'W3', 'W4', 'W5'];

(async () => {
  const work = process.argv[2];
  const start = performance.now();
  const database = await DuckDBInstance.create('scan.duckdb');
  const connection = await database.connect();
  if (work === 'load') {
    await connection.run(load);
    await connection.run('checkpoint');
  } else {
    await connection.run('set preserve_insertion_order = false');
    for (const name of work === 'W6' ? partsOfW6 : [work]) {
      await connection.run(`copy (${queries[name]}) to 'duckdb/${name}'
        (format csv, header false, quote '', escape '', delimiter E'${name === 'W7' ? ',' : '\\t'}')`);
    }
  }
  connection.closeSync();
  database.closeSync();
  console.log(((performance.now() - start) / 1000).toFixed(3));
})().catch((error) => {
  console.error(error.message);
  process.exit(1);
});
