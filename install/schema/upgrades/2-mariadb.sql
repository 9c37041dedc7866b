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
CREATE INDEX IF NOT EXISTS Change_Log_Kind ON Change_Log (Kind, Change_ID);

-- Alerts can be switched off.
CREATE TABLE IF NOT EXISTS Alert_Off (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
-- The receivers note what became of each alert.
CREATE TABLE IF NOT EXISTS Alert_State (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY,
  Last_Acted    INTEGER NOT NULL DEFAULT 0,
  Last_Failure  INTEGER NOT NULL DEFAULT 0,
  Reason        TEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
-- Alerts can be tried from the console.
CREATE TABLE IF NOT EXISTS Alert_Test (
  Test_ID       INTEGER AUTO_INCREMENT PRIMARY KEY,
  Trap_Group_ID INTEGER NOT NULL DEFAULT 0,
  Asked_Time    INTEGER NOT NULL DEFAULT 0,
  Operator      VARCHAR(255) NOT NULL DEFAULT '',
  Machine       VARCHAR(255) NOT NULL DEFAULT '',
  Taken_By      VARCHAR(255) NOT NULL DEFAULT '',
  Done          INTEGER NOT NULL DEFAULT 0,
  Result        TEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
