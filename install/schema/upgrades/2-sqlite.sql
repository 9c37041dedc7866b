-- The store says of which version it is.
CREATE TABLE Store_Info (
  Schema_Version INTEGER NOT NULL
);
INSERT INTO Store_Info VALUES (1);
