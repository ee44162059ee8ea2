      *----------------------------------------------------------------
      * SIGILLO - aree di comunicazione per le entry point della
      * libreria libsigillo.so. Tutti gli argomenti passano BY
      * REFERENCE; l'ultimo e' sempre il codice di ritorno SG-RC.
      *----------------------------------------------------------------
      * Codice di ritorno (u16): 0 = eseguito correttamente.
       01  SG-RC                   PIC 9(4) COMP-5.
      * Macro (HASH ...): stringa parametri e sua lunghezza (u32).
       01  SG-PARAMS               PIC X(700).
       01  SG-PARAMS-LEN           PIC 9(9) COMP-5.
      * KVTVERS: testo della versione (38 caratteri e NUL).
       01  SG-VERSION              PIC X(39).
      * KVTVNUM / KVTCHKV: numero di versione (i32).
       01  SG-VERSION-NUM          PIC S9(9) COMP-5.
       01  SG-VERSION-DIFF         PIC S9(9) COMP-5.
      * TRDEBUG / TRSTATUS: modo di trace (u16).
       01  SG-TRACE-MODE           PIC 9(4) COMP-5.
      * TRLOG: percorso del log e sua lunghezza (u32, al piu' 254).
       01  SG-LOG-PATH             PIC X(254).
       01  SG-LOG-PATH-LEN         PIC 9(9) COMP-5.
      * Famiglia hash (MD5, SHA256, HMCSHA1, ...): blocco dati, sua
      * lunghezza, area di stato (handle durante il calcolo, risultato
      * dopo l'ultimo blocco), modo del blocco e chiavi.
       01  SG-HASH-DATA            PIC X(16384).
       01  SG-HASH-DATA-LEN        PIC 9(9) COMP-5.
       01  SG-HASH-STATE           PIC X(64).
       01  SG-HASH-BMODE           PIC 9(4) COMP-5.
           88  SG-BLOCK-MIDDLE     VALUE 0.
           88  SG-BLOCK-FIRST      VALUE 1.
           88  SG-BLOCK-LAST       VALUE 2.
           88  SG-BLOCK-ONLY       VALUE 3.
       01  SG-HASH-KEY             PIC X(2048).
       01  SG-HASH-KEY-LEN         PIC 9(9) COMP-5.
       01  SG-HASH-KEY2            PIC X(8).
       01  SG-HASH-VARIANT         PIC 9(4) COMP-5.
