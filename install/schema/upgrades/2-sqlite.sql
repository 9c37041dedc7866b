-- The store says of which version it is.
CREATE TABLE Store_Info (
  Schema_Version INTEGER NOT NULL
);
INSERT INTO Store_Info VALUES (1);

-- Every change of the store is noted, for the other consoles.
CREATE TABLE @traps@.Change_Log (
  Change_ID   INTEGER PRIMARY KEY AUTOINCREMENT,
  Change_Time INTEGER NOT NULL,
  Kind        INTEGER NOT NULL,
  Operator    VARCHAR(255) NOT NULL DEFAULT '',
  Machine     VARCHAR(255) NOT NULL DEFAULT '',
  Writer      VARCHAR(255) NOT NULL DEFAULT '',
  Source      VARCHAR(255),
  Upper_Time  INTEGER,
  Numbers     TEXT NOT NULL DEFAULT '',
  Row_Count   INTEGER
);
CREATE INDEX @traps@.Change_Log_Time ON Change_Log (Change_Time);

-- Receivers show that they are alive.
CREATE TABLE @traps@.Receiver_Heartbeat (
  Spool_ID VARCHAR(255) NOT NULL PRIMARY KEY,
  Machine  VARCHAR(255) NOT NULL DEFAULT '',
  Beats    INTEGER NOT NULL DEFAULT 0,
  Stopped  INTEGER NOT NULL DEFAULT 0
);
