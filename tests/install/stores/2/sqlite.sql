-- The embedded trap store, first file (dvldb.db): everything but the traps, which lie in dvldb-traps.db.
-- Codes, keys and times are 32-bit integers.  Texts are UTF-8, compare byte for byte, and are never NULL.
-- Tables without a key of their own are read in the order in which their rows were added (the rowid).

-- Which version of these tables this is: programs of another version refuse to work with them.
CREATE TABLE Store_Info (
  Schema_Version INTEGER NOT NULL
);
INSERT INTO Store_Info VALUES (2);

-- Names of traps.  RequestType holds the specific code and SpecificTrap the trap's name.
CREATE TABLE EventStructure (
  EnterpriseOid   VARCHAR(1500) NOT NULL DEFAULT '',
  RequestType     INTEGER NOT NULL DEFAULT 0,
  SpecificTrap    VARCHAR(255) NOT NULL DEFAULT '',
  Name            VARCHAR(255) NOT NULL DEFAULT '',
  TrapDescription TEXT NOT NULL DEFAULT ''
);
CREATE INDEX EventStructure_Oid ON EventStructure (EnterpriseOid, RequestType);
CREATE INDEX EventStructure_Name ON EventStructure (Name);

-- Systems.
CREATE TABLE System_Table (
  System_Name VARCHAR(255) NOT NULL DEFAULT '',
  IP_Address  VARCHAR(255) NOT NULL DEFAULT '',
  System_Type VARCHAR(255) NOT NULL DEFAULT '',
  UNIQUE (System_Name, IP_Address)
);
CREATE TABLE Module_Table (
  System_Name VARCHAR(255) NOT NULL DEFAULT '',
  Module_ID   INTEGER NOT NULL DEFAULT 0,
  UNIQUE (System_Name, Module_ID)
);

-- Categories.  A group is named after its category with one of "_Trap", "_Event", "_File", "_Registry"
-- appended, hence the longer columns.
-- Sort_Order says where a category, a trap of a category or a filter stands among the others, small numbers first;
-- rows of one number stand by their names or keys.  The first row that accepts a trap decides about it.  Whoever
-- adds a row without a number leaves it behind all that have one.
CREATE TABLE Category_Group_Master (
  Category_Name VARCHAR(255) NOT NULL UNIQUE,
  Category_Desc TEXT NOT NULL DEFAULT '',
  Severity      INTEGER NOT NULL DEFAULT 0,
  Sort_Order    INTEGER NOT NULL DEFAULT 2147483647
);
CREATE INDEX Category_Group_Master_Order ON Category_Group_Master (Sort_Order, Category_Name);
CREATE TABLE Category_Group (
  Category_Name VARCHAR(255) NOT NULL DEFAULT '',
  Category_ID   INTEGER NOT NULL DEFAULT 0,
  UNIQUE (Category_Name, Category_ID)
);
CREATE INDEX Category_Group_ID ON Category_Group (Category_ID);
CREATE TABLE Category_Group_Detail (
  Category_ID   INTEGER NOT NULL DEFAULT 0,
  Category_Type INTEGER NOT NULL DEFAULT 0,
  Group_Name    VARCHAR(270) NOT NULL DEFAULT '',
  UNIQUE (Category_ID, Category_Type, Group_Name)
);
CREATE INDEX Category_Group_Detail_Name ON Category_Group_Detail (Group_Name);
CREATE TABLE Category_Relation_Master (
  Category_Name          VARCHAR(255) NOT NULL DEFAULT '',
  Related_Category_Name  VARCHAR(255) NOT NULL DEFAULT '',
  Category_Relation_Type INTEGER NOT NULL DEFAULT 0,
  UNIQUE (Category_Name, Related_Category_Name, Category_Relation_Type)
);
CREATE INDEX Category_Relation_Master_Related ON Category_Relation_Master (Related_Category_Name);
CREATE TABLE Trap_Group_Master (
  Trap_Group_Name VARCHAR(270) NOT NULL UNIQUE,
  Trap_Group_Desc TEXT NOT NULL DEFAULT ''
);
CREATE TABLE Trap_Group (
  Trap_Group_Name VARCHAR(270) NOT NULL DEFAULT '',
  Trap_ID         INTEGER NOT NULL DEFAULT 0,
  Sort_Order      INTEGER NOT NULL DEFAULT 2147483647,
  UNIQUE (Trap_Group_Name, Trap_ID)
);
CREATE INDEX Trap_Group_Order ON Trap_Group (Trap_Group_Name, Sort_Order, Trap_ID);
CREATE TABLE Trap_Group_Detail (
  Trap_Table_ID    INTEGER PRIMARY KEY AUTOINCREMENT,
  Source_Agent     VARCHAR(255) NOT NULL DEFAULT '',
  EnterpriseOid    VARCHAR(1500) NOT NULL DEFAULT '',
  GenericTrap      INTEGER NOT NULL DEFAULT -1,
  SpecificTrap     VARCHAR(255) NOT NULL DEFAULT '0',
  EventDescription TEXT NOT NULL DEFAULT '',
  Severity         INTEGER NOT NULL DEFAULT 0
);
-- A trap that is added is looked for by all its values.
CREATE INDEX Trap_Group_Detail_Values ON Trap_Group_Detail
  (Source_Agent, EnterpriseOid, SpecificTrap, EventDescription, GenericTrap, Severity);

-- The groups of sibling products: only ever deleted from here, when a category is removed whole.
CREATE TABLE File_Group_Master (
  File_Group_Name VARCHAR(270) NOT NULL UNIQUE,
  File_Group_Desc TEXT NOT NULL DEFAULT ''
);
CREATE TABLE File_Group (
  File_Group_Name VARCHAR(270) NOT NULL DEFAULT '',
  File_ID         INTEGER NOT NULL DEFAULT 0,
  UNIQUE (File_Group_Name, File_ID)
);
CREATE TABLE Registry_Group_Master (
  Registry_Group_Name VARCHAR(270) NOT NULL UNIQUE,
  Registry_Group_Desc TEXT NOT NULL DEFAULT ''
);
CREATE TABLE Registry_Group (
  Registry_Group_Name VARCHAR(270) NOT NULL DEFAULT '',
  Registry_ID         INTEGER NOT NULL DEFAULT 0,
  UNIQUE (Registry_Group_Name, Registry_ID)
);
CREATE TABLE Event_Group_Master (
  Event_Group_Name VARCHAR(270) NOT NULL UNIQUE,
  Event_Group_Desc TEXT NOT NULL DEFAULT ''
);
CREATE TABLE Event_Group (
  Event_Group_Name VARCHAR(270) NOT NULL DEFAULT '',
  Event_ID         INTEGER NOT NULL DEFAULT 0,
  UNIQUE (Event_Group_Name, Event_ID)
);

-- Trap criteria of filters and alerts, and the two that point at them.
CREATE TABLE Trap_Detail (
  Trap_Table_ID    INTEGER PRIMARY KEY AUTOINCREMENT,
  Source_Agent     VARCHAR(255) NOT NULL DEFAULT '',
  Community        VARCHAR(255) NOT NULL DEFAULT '',
  EnterpriseOid    VARCHAR(1500) NOT NULL DEFAULT '',
  GenericTrap      INTEGER NOT NULL DEFAULT -1,
  SpecificTrap     INTEGER NOT NULL DEFAULT 0,
  Severity         INTEGER NOT NULL DEFAULT 0,
  EventDescription TEXT NOT NULL DEFAULT ''
);
CREATE TABLE Trap_Filter_Group (
  Trap_ID     INTEGER NOT NULL UNIQUE,
  Description TEXT NOT NULL DEFAULT '',
  Sort_Order  INTEGER NOT NULL DEFAULT 2147483647
);
CREATE TABLE Trap_Action_Group (
  Trap_Group_ID INTEGER PRIMARY KEY AUTOINCREMENT,
  Description   VARCHAR(255) NOT NULL UNIQUE,
  Trap_ID       INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE Trap_Notification_Master (
  Trap_Group_ID INTEGER NOT NULL UNIQUE,
  Beep_ID       INTEGER NOT NULL DEFAULT 1,
  Email_ID      INTEGER NOT NULL DEFAULT 1,
  Message_ID    INTEGER NOT NULL DEFAULT 1,
  Custom_ID     INTEGER NOT NULL DEFAULT 1
);

-- Alerts that are switched off, by Trap_Group_ID: the receiver passes them over.
CREATE TABLE Alert_Off (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY
);

-- Alert actions.  Row 1 of each means "no action"; its values are such that no action an operator can enter
-- equals it (an alert with empty beep fields stores zeros).
CREATE TABLE Beep_Detail (
  Beep_ID     INTEGER PRIMARY KEY AUTOINCREMENT,
  Description VARCHAR(255) NOT NULL DEFAULT '',
  Beep_Count  INTEGER NOT NULL DEFAULT 0,
  Duration    INTEGER NOT NULL DEFAULT 0,
  Delay       INTEGER NOT NULL DEFAULT 0,
  Frequency   INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE Email_Detail (
  Email_ID    INTEGER PRIMARY KEY AUTOINCREMENT,
  Smtp_Server VARCHAR(255) NOT NULL DEFAULT '',
  Email_To    VARCHAR(255) NOT NULL DEFAULT '',
  Email_From  VARCHAR(255) NOT NULL DEFAULT '',
  Subject     TEXT NOT NULL DEFAULT ''
);
CREATE TABLE Message_Detail (
  Message_ID  INTEGER PRIMARY KEY AUTOINCREMENT,
  Destination VARCHAR(255) NOT NULL DEFAULT ''
);
CREATE TABLE Custom_Action_Detail (
  Custom_Action_ID   INTEGER PRIMARY KEY AUTOINCREMENT,
  Custom_Action_File TEXT NOT NULL DEFAULT '',
  Description        VARCHAR(255) NOT NULL DEFAULT ' '
);
INSERT INTO Beep_Detail (Beep_Count, Duration, Delay, Frequency) VALUES (-1, -1, -1, -1);
INSERT INTO Email_Detail (Smtp_Server) VALUES ('');
INSERT INTO Message_Detail (Destination) VALUES ('');
INSERT INTO Custom_Action_Detail (Custom_Action_File) VALUES ('');
