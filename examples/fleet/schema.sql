-- The tables of a fleet of scans, for every node of the ClickHouse cluster "fleet":
--
--   clickhouse-client --host NODE --multiquery < schema.sql
--
-- examples/fleet/load fills them. Ask `fleet` (files), `fleet_directories`, `accounts` and
-- `scans`; they show the scans that are loaded in whole, from all nodes.

set allow_experimental_low_cardinality_type = 1;
-- The views below ask all nodes; while the first ones are set up, others have no tables yet.
set skip_unavailable_shards = 1;

-- One row for each scan that is loaded in whole, on one of the nodes. A scan without its row here is
-- not seen by any query.
create table if not exists scans_local (
  scan String,          -- digest of the scan file
  day Date,             -- of the scan, in UTC
  server String,
  root String,
  scanned DateTime,
  files UInt64,         -- rows of it in `files`, over all nodes
  directories UInt64,   -- and in `directories`
  bytes UInt64,         -- sum of the files' sizes
  loaded DateTime
) engine = MergeTree partition by toYYYYMM(day) order by (server, root, scanned, scan);

create table if not exists scans as scans_local engine = Distributed(fleet, default, scans_local);

-- What is not a directory, and directories. Texts of few values are kept as numbers with a dictionary
-- (LowCardinality); in the order of server and path, entries lie beside their neighbours and
-- compress well. Paths are the bytes of the scan, whatever their encoding.
create table if not exists files (
  scan String,
  day Date,
  server LowCardinality(String),
  root LowCardinality(String),
  scanned DateTime,
  path String,          -- from the root of the scan, with its separators
  ext LowCardinality(String),
  type LowCardinality(String),
  size UInt64,
  modified DateTime,
  accessed DateTime,
  created DateTime,     -- Unix: last change of status
  user LowCardinality(String),
  group LowCardinality(String),
  uid UInt32,
  gid UInt32,
  mode LowCardinality(String),    -- Unix: four octal digits
  attrs LowCardinality(String),   -- Windows: letters of SHRAOCED
  inode UInt32,
  links UInt32,
  streams UInt32,
  flags UInt32,         -- what the scanner noted, see dtlexport(1)
  target String         -- where a link leads
) engine = MergeTree partition by (day, scan) order by (server, path);

create table if not exists directories as files
  engine = MergeTree partition by (day, scan) order by (server, path);

-- Accounts of Windows shares, with how often they are used in access control lists and as owners.
create table if not exists accounts_local (
  scan String,
  day Date,
  server LowCardinality(String),
  root LowCardinality(String),
  scanned DateTime,
  class LowCardinality(String),   -- such as "Domain users"
  account String,                 -- DOMAIN\\name
  uses UInt64,
  owned UInt64
) engine = MergeTree partition by (day, scan) order by (account, server, root);

-- The scans that are there in whole. Distributed tables ask every node for its view.
create view if not exists listed_files as
  select * from files where scan in (select scan from scans);
create view if not exists listed_directories as
  select * from directories where scan in (select scan from scans);
create view if not exists listed_accounts as
  select * from accounts_local where scan in (select scan from scans);

create table if not exists fleet as files engine = Distributed(fleet, default, listed_files);
create table if not exists fleet_directories as files
  engine = Distributed(fleet, default, listed_directories);
create table if not exists accounts as accounts_local
  engine = Distributed(fleet, default, listed_accounts);
