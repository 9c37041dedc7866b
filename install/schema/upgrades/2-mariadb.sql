-- The store says of which version it is.
CREATE TABLE IF NOT EXISTS Store_Info (
  Schema_Version INTEGER NOT NULL
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
INSERT INTO Store_Info SELECT 1 WHERE NOT EXISTS (SELECT * FROM Store_Info);

-- Every change of the store is noted, for the other consoles.
CREATE TABLE IF NOT EXISTS Change_Log (
  Change_ID   INTEGER AUTO_INCREMENT PRIMARY KEY,
  Change_Time INTEGER NOT NULL,
  Kind        INTEGER NOT NULL,
  Operator    VARCHAR(255) NOT NULL DEFAULT '',
  Machine     VARCHAR(255) NOT NULL DEFAULT '',
  Writer      VARCHAR(255) NOT NULL DEFAULT '',
  Source      VARCHAR(255),
  Upper_Time  INTEGER,
  Numbers     LONGTEXT NOT NULL DEFAULT '',
  Row_Count   INTEGER
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE INDEX IF NOT EXISTS Change_Log_Time ON Change_Log (Change_Time);

-- Receivers show that they are alive.
CREATE TABLE IF NOT EXISTS Receiver_Heartbeat (
  Spool_ID VARCHAR(255) NOT NULL PRIMARY KEY,
  Machine  VARCHAR(255) NOT NULL DEFAULT '',
  Beats    INTEGER NOT NULL DEFAULT 0,
  Stopped  INTEGER NOT NULL DEFAULT 0
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
