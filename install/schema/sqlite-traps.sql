-- The embedded trap store, second file (dvldb-traps.db): the traps alone.  The receiver writes this file while
-- the console may hold a change of the categories open in the first one; two files let both go on.
-- The console attaches it on connecting, so EventTrap needs no prefix.

-- AUTOINCREMENT: the number of a purged trap never comes back.
CREATE TABLE EventTrap (
  SequenceNumber   INTEGER PRIMARY KEY AUTOINCREMENT,
  EventTime        INTEGER NOT NULL,
  Source           VARCHAR(255) NOT NULL DEFAULT '',
  EnterpriseOid    VARCHAR(1500) NOT NULL DEFAULT '',
  GenericTrap      INTEGER NOT NULL DEFAULT 6,
  SpecificTrap     INTEGER NOT NULL DEFAULT 0,
  EventDescription TEXT NOT NULL DEFAULT '',
  Event_ExtDescr   TEXT NOT NULL DEFAULT '',
  EventNotes       TEXT NOT NULL DEFAULT '',
  EventAck         INTEGER NOT NULL DEFAULT 0
);
-- Acknowledged traps are looked for by time or number only.  An index over the sources of all traps would be what
-- storing and deleting one costs most.
CREATE INDEX EventTrap_Ack_Time ON EventTrap (EventAck, EventTime, SequenceNumber) WHERE EventAck = 0;
CREATE INDEX EventTrap_Time ON EventTrap (EventTime, SequenceNumber);
CREATE INDEX EventTrap_Source_Ack_Time ON EventTrap (Source, EventAck, EventTime) WHERE EventAck = 0;

-- How far each receiver's spool is stored; moved by the receiver together with the rows it adds to EventTrap.
CREATE TABLE Receiver_State (
  Spool_ID    VARCHAR(255) NOT NULL PRIMARY KEY,
  Last_Number BIGINT NOT NULL DEFAULT 0
);

-- Whether each receiver is alive: Beats moves every few seconds, Stopped
-- is 1 after an ordered end.  Dropped: packets lost since it started, the first of them at the UTC second
-- Dropped_Since.  Disk_Used: per cent of the file system of an embedded store, else of the spool; 0: not known.
-- The row of a receiver that is gone for good may be deleted.
CREATE TABLE Receiver_Heartbeat (
  Spool_ID      VARCHAR(255) NOT NULL PRIMARY KEY,
  Machine       VARCHAR(255) NOT NULL DEFAULT '',
  Beats         INTEGER NOT NULL DEFAULT 0,
  Stopped       INTEGER NOT NULL DEFAULT 0,
  Dropped       INTEGER NOT NULL DEFAULT 0,
  Dropped_Since INTEGER NOT NULL DEFAULT 0,
  Disk_Used     INTEGER NOT NULL DEFAULT 0
);

-- Who stores, of receivers that get the same traps; a row a group (KVReceiverGroup).  Every transaction of a group
-- changes the row before it adds traps, so they come one after the other.  Term counts the changes of the Holder, a
-- spool, and fences off the one before.  Beat moves about once a second, or another one takes over.  What the holder
-- received before Stored_Through (UTC seconds) is stored, no trap of the group has a number above Stored_Number, and
-- Additions counts what others have added: traps that the holder did not get.
CREATE TABLE Receiver_Duty (
  Group_Name     VARCHAR(255) NOT NULL PRIMARY KEY,
  Holder         VARCHAR(255) NOT NULL DEFAULT '',
  Machine        VARCHAR(255) NOT NULL DEFAULT '',
  Term           INTEGER NOT NULL DEFAULT 0,
  Beat           INTEGER NOT NULL DEFAULT 0,
  Additions      INTEGER NOT NULL DEFAULT 0,
  Stored_Through INTEGER NOT NULL DEFAULT 0,
  Stored_Number  INTEGER NOT NULL DEFAULT 0
);

-- What was changed in the store, by whom; written with each change, followed by every console.  Numbers holds
-- sequence numbers as ranges ("3-7,12"); Source and Upper_Time are NULL where they bound nothing.
CREATE TABLE Change_Log (
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
CREATE INDEX Change_Log_Time ON Change_Log (Change_Time);
CREATE INDEX Change_Log_Kind ON Change_Log (Kind, Change_ID);

-- What became of each alert, as the receivers tell it.  Times are UTC seconds, 0: never.
CREATE TABLE Alert_State (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY,
  Last_Acted    INTEGER NOT NULL DEFAULT 0,
  Last_Failure  INTEGER NOT NULL DEFAULT 0,
  Reason        TEXT NOT NULL DEFAULT ''
);
-- Alerts that a console wants tried.  The receiver that takes one puts its machine into Taken_By, and what
-- became of it into Result.
CREATE TABLE Alert_Test (
  Test_ID       INTEGER PRIMARY KEY AUTOINCREMENT,
  Trap_Group_ID INTEGER NOT NULL DEFAULT 0,
  Asked_Time    INTEGER NOT NULL DEFAULT 0,
  Operator      VARCHAR(255) NOT NULL DEFAULT '',
  Machine       VARCHAR(255) NOT NULL DEFAULT '',
  Taken_By      VARCHAR(255) NOT NULL DEFAULT '',
  Done          INTEGER NOT NULL DEFAULT 0,
  Result        TEXT NOT NULL DEFAULT ''
);
