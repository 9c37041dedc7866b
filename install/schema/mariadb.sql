-- The trap store on MariaDB (10.6 or later).
-- Codes, keys and times are 32-bit integers.  Texts are utf8mb4_nopad_bin and never NULL: they compare byte for
-- byte with trailing blanks counted, as on the other engines (utf8mb4_bin alone would drop those blanks, and the
-- server's default would ignore letter case and accents).  Unlimited texts are LONGTEXT: TEXT ends at 64 KiB.
-- Tables without a number of their own carry an invisible one as their key: a table that is read whole comes in
-- the order of its key, so in that in which its rows were added, and InnoDB would else take a unique name for it.

-- Which version of these tables this is: programs of another version refuse to work with them.  And which store:
-- another identity says that a number may now stand for another trap, so that whoever holds numbers reads anew.
CREATE TABLE Store_Info (
  Schema_Version INTEGER NOT NULL,
  Store_Identity VARCHAR(64) NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
INSERT INTO Store_Info VALUES (3, UUID());

-- The traps.  The receiver writes them; the number of a purged trap never comes back.
CREATE TABLE EventTrap (
  SequenceNumber   INTEGER AUTO_INCREMENT PRIMARY KEY,
  EventTime        INTEGER NOT NULL,
  Source           VARCHAR(255) NOT NULL DEFAULT '',
  EnterpriseOid    VARCHAR(1500) NOT NULL DEFAULT '',
  GenericTrap      INTEGER NOT NULL DEFAULT 6,
  SpecificTrap     INTEGER NOT NULL DEFAULT 0,
  EventDescription LONGTEXT NOT NULL DEFAULT '',
  Event_ExtDescr   LONGTEXT NOT NULL DEFAULT '',
  EventNotes       LONGTEXT NOT NULL DEFAULT '',
  EventAck         INTEGER NOT NULL DEFAULT 0,
  Unacknowledged_Source VARCHAR(255) AS (CASE WHEN EventAck = 0 THEN Source END) STORED INVISIBLE
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
-- Acknowledged traps are looked for by time or number only.  An index over the sources of all traps would be what
-- storing and deleting one costs most, at a random place of it for each; in this one the acknowledged ones lie together,
-- by time.
CREATE INDEX EventTrap_Ack_Time ON EventTrap (EventAck, EventTime, SequenceNumber);
CREATE INDEX EventTrap_Time ON EventTrap (EventTime, SequenceNumber);
CREATE INDEX EventTrap_Source_Time ON EventTrap (Unacknowledged_Source, EventTime);

-- How far each receiver's spool is stored; moved by the receiver together with the rows it adds to EventTrap.
CREATE TABLE Receiver_State (
  Spool_ID    VARCHAR(255) NOT NULL PRIMARY KEY,
  Last_Number BIGINT NOT NULL DEFAULT 0
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;

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
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;

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
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;

-- What was changed in the store, by whom; written with each change, followed by every console.  Numbers holds
-- sequence numbers as ranges ("3-7,12"); Source and Upper_Time are NULL where they bound nothing.
CREATE TABLE Change_Log (
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
CREATE INDEX Change_Log_Time ON Change_Log (Change_Time);
CREATE INDEX Change_Log_Kind ON Change_Log (Kind, Change_ID);

-- Names of traps.  RequestType holds the specific code and SpecificTrap the trap's name.
CREATE TABLE EventStructure (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  EnterpriseOid   VARCHAR(1500) NOT NULL DEFAULT '',
  RequestType     INTEGER NOT NULL DEFAULT 0,
  SpecificTrap    VARCHAR(255) NOT NULL DEFAULT '',
  Name            VARCHAR(255) NOT NULL DEFAULT '',
  TrapDescription LONGTEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE INDEX EventStructure_Oid ON EventStructure (EnterpriseOid(255), RequestType);
CREATE INDEX EventStructure_Name ON EventStructure (Name);

-- Systems.
CREATE TABLE System_Table (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  System_Name VARCHAR(255) NOT NULL DEFAULT '',
  IP_Address  VARCHAR(255) NOT NULL DEFAULT '',
  System_Type VARCHAR(255) NOT NULL DEFAULT '',
  UNIQUE (System_Name, IP_Address)
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Module_Table (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  System_Name VARCHAR(255) NOT NULL DEFAULT '',
  Module_ID   INTEGER NOT NULL DEFAULT 0,
  UNIQUE (System_Name, Module_ID)
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;

-- Categories.  A group is named after its category with one of "_Trap", "_Event", "_File", "_Registry"
-- appended, hence the longer columns.
-- Sort_Order says where a category, a trap of a category or a filter stands among the others, small numbers first;
-- rows of one number stand by their names or keys.  The first row that accepts a trap decides about it.  Whoever
-- adds a row without a number leaves it behind all that have one.
CREATE TABLE Category_Group_Master (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Category_Name VARCHAR(255) NOT NULL UNIQUE,
  Category_Desc LONGTEXT NOT NULL DEFAULT '',
  Severity      INTEGER NOT NULL DEFAULT 0,
  Sort_Order    INTEGER NOT NULL DEFAULT 2147483647
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE INDEX Category_Group_Master_Order ON Category_Group_Master (Sort_Order, Category_Name);
CREATE TABLE Category_Group (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Category_Name VARCHAR(255) NOT NULL DEFAULT '',
  Category_ID   INTEGER NOT NULL DEFAULT 0,
  UNIQUE (Category_Name, Category_ID)
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE INDEX Category_Group_ID ON Category_Group (Category_ID);
-- The last Category_ID that was given out: taken apart from the transaction that uses it, so that two who make
-- categories at the same time get two.
CREATE TABLE Category_Number (
  Last_ID INTEGER NOT NULL
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
INSERT INTO Category_Number VALUES (0);
CREATE TABLE Category_Group_Detail (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Category_ID   INTEGER NOT NULL DEFAULT 0,
  Category_Type INTEGER NOT NULL DEFAULT 0,
  Group_Name    VARCHAR(270) NOT NULL DEFAULT '',
  UNIQUE (Category_ID, Category_Type, Group_Name)
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE INDEX Category_Group_Detail_Name ON Category_Group_Detail (Group_Name);
CREATE TABLE Category_Relation_Master (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Category_Name          VARCHAR(255) NOT NULL DEFAULT '',
  Related_Category_Name  VARCHAR(255) NOT NULL DEFAULT '',
  Category_Relation_Type INTEGER NOT NULL DEFAULT 0,
  UNIQUE (Category_Name, Related_Category_Name, Category_Relation_Type)
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE INDEX Category_Relation_Master_Related ON Category_Relation_Master (Related_Category_Name);
CREATE TABLE Trap_Group_Master (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Trap_Group_Name VARCHAR(270) NOT NULL UNIQUE,
  Trap_Group_Desc LONGTEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Trap_Group (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Trap_Group_Name VARCHAR(270) NOT NULL DEFAULT '',
  Trap_ID         INTEGER NOT NULL DEFAULT 0,
  Sort_Order      INTEGER NOT NULL DEFAULT 2147483647,
  UNIQUE (Trap_Group_Name, Trap_ID)
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE INDEX Trap_Group_Order ON Trap_Group (Trap_Group_Name, Sort_Order, Trap_ID);
CREATE TABLE Trap_Group_Detail (
  Trap_Table_ID    INTEGER AUTO_INCREMENT PRIMARY KEY,
  Source_Agent     VARCHAR(255) NOT NULL DEFAULT '',
  EnterpriseOid    VARCHAR(1500) NOT NULL DEFAULT '',
  GenericTrap      INTEGER NOT NULL DEFAULT -1,
  SpecificTrap     VARCHAR(255) NOT NULL DEFAULT '0',
  EventDescription LONGTEXT NOT NULL DEFAULT '',
  Severity         INTEGER NOT NULL DEFAULT 0
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
-- A trap that is added is looked for by all its values.
CREATE INDEX Trap_Group_Detail_Values ON Trap_Group_Detail
  (Source_Agent(100), EnterpriseOid(200), SpecificTrap(20), EventDescription(200), GenericTrap, Severity);

-- The groups of sibling products: only ever deleted from here, when a category is removed whole.
CREATE TABLE File_Group_Master (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  File_Group_Name VARCHAR(270) NOT NULL UNIQUE,
  File_Group_Desc LONGTEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE File_Group (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  File_Group_Name VARCHAR(270) NOT NULL DEFAULT '',
  File_ID         INTEGER NOT NULL DEFAULT 0,
  UNIQUE (File_Group_Name, File_ID)
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Registry_Group_Master (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Registry_Group_Name VARCHAR(270) NOT NULL UNIQUE,
  Registry_Group_Desc LONGTEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Registry_Group (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Registry_Group_Name VARCHAR(270) NOT NULL DEFAULT '',
  Registry_ID         INTEGER NOT NULL DEFAULT 0,
  UNIQUE (Registry_Group_Name, Registry_ID)
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Event_Group_Master (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Event_Group_Name VARCHAR(270) NOT NULL UNIQUE,
  Event_Group_Desc LONGTEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Event_Group (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Event_Group_Name VARCHAR(270) NOT NULL DEFAULT '',
  Event_ID         INTEGER NOT NULL DEFAULT 0,
  UNIQUE (Event_Group_Name, Event_ID)
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;

-- Trap criteria of filters and alerts, and the two that point at them.
CREATE TABLE Trap_Detail (
  Trap_Table_ID    INTEGER AUTO_INCREMENT PRIMARY KEY,
  Source_Agent     VARCHAR(255) NOT NULL DEFAULT '',
  Community        VARCHAR(255) NOT NULL DEFAULT '',
  EnterpriseOid    VARCHAR(1500) NOT NULL DEFAULT '',
  GenericTrap      INTEGER NOT NULL DEFAULT -1,
  SpecificTrap     INTEGER NOT NULL DEFAULT 0,
  Severity         INTEGER NOT NULL DEFAULT 0,
  EventDescription LONGTEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Trap_Filter_Group (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Trap_ID     INTEGER NOT NULL UNIQUE,
  Description LONGTEXT NOT NULL DEFAULT '',
  Sort_Order  INTEGER NOT NULL DEFAULT 2147483647
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Trap_Action_Group (
  Trap_Group_ID INTEGER AUTO_INCREMENT PRIMARY KEY,
  Description   VARCHAR(255) NOT NULL UNIQUE,
  Trap_ID       INTEGER NOT NULL DEFAULT 0
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Trap_Notification_Master (
  Row_ID INTEGER AUTO_INCREMENT INVISIBLE PRIMARY KEY,
  Trap_Group_ID INTEGER NOT NULL UNIQUE,
  Beep_ID       INTEGER NOT NULL DEFAULT 1,
  Email_ID      INTEGER NOT NULL DEFAULT 1,
  Message_ID    INTEGER NOT NULL DEFAULT 1,
  Custom_ID     INTEGER NOT NULL DEFAULT 1
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;

-- Alerts that are switched off, by Trap_Group_ID: the receiver passes them over.
CREATE TABLE Alert_Off (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
-- What became of each alert, as the receivers tell it.  Times are UTC seconds, 0: never.
CREATE TABLE Alert_State (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY,
  Last_Acted    INTEGER NOT NULL DEFAULT 0,
  Last_Failure  INTEGER NOT NULL DEFAULT 0,
  Reason        TEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
-- Alerts that a console wants tried.  The receiver that takes one puts its machine into Taken_By, and what
-- became of it into Result.
CREATE TABLE Alert_Test (
  Test_ID       INTEGER AUTO_INCREMENT PRIMARY KEY,
  Trap_Group_ID INTEGER NOT NULL DEFAULT 0,
  Asked_Time    INTEGER NOT NULL DEFAULT 0,
  Operator      VARCHAR(255) NOT NULL DEFAULT '',
  Machine       VARCHAR(255) NOT NULL DEFAULT '',
  Taken_By      VARCHAR(255) NOT NULL DEFAULT '',
  Done          INTEGER NOT NULL DEFAULT 0,
  Result        TEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;

-- Alert actions.  Row 1 of each means "no action"; its values are such that no action an operator can enter
-- equals it (an alert with empty beep fields stores zeros).  Its number is written out: a node of a cluster may
-- begin to count at another one.
CREATE TABLE Beep_Detail (
  Beep_ID     INTEGER AUTO_INCREMENT PRIMARY KEY,
  Description VARCHAR(255) NOT NULL DEFAULT '',
  Beep_Count  INTEGER NOT NULL DEFAULT 0,
  Duration    INTEGER NOT NULL DEFAULT 0,
  Delay       INTEGER NOT NULL DEFAULT 0,
  Frequency   INTEGER NOT NULL DEFAULT 0
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Email_Detail (
  Email_ID    INTEGER AUTO_INCREMENT PRIMARY KEY,
  Smtp_Server VARCHAR(255) NOT NULL DEFAULT '',
  Email_To    VARCHAR(255) NOT NULL DEFAULT '',
  Email_From  VARCHAR(255) NOT NULL DEFAULT '',
  Subject     LONGTEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Message_Detail (
  Message_ID  INTEGER AUTO_INCREMENT PRIMARY KEY,
  Destination VARCHAR(255) NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE TABLE Custom_Action_Detail (
  Custom_Action_ID   INTEGER AUTO_INCREMENT PRIMARY KEY,
  Custom_Action_File LONGTEXT NOT NULL DEFAULT '',
  Description        VARCHAR(255) NOT NULL DEFAULT ' '
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
INSERT INTO Beep_Detail (Beep_ID, Beep_Count, Duration, Delay, Frequency) VALUES (1, -1, -1, -1, -1);
INSERT INTO Email_Detail (Email_ID) VALUES (1);
INSERT INTO Message_Detail (Message_ID) VALUES (1);
INSERT INTO Custom_Action_Detail (Custom_Action_ID) VALUES (1);
