       IDENTIFICATION DIVISION.
       PROGRAM-ID. HASHTEST.
      * Batch di prova: chiama KVTVERS, HASH, SHA256 e CODA per
      * riferimento.
       DATA DIVISION.
       WORKING-STORAGE SECTION.
       COPY SIGILLO.
       PROCEDURE DIVISION.
           CALL 'KVTVERS' USING BY REFERENCE SG-VERSION SG-RC
           DISPLAY 'KVTVERS RC=' SG-RC ' TESTO=' SG-VERSION(1:38)

           MOVE 71627 TO SG-VERSION-NUM
           CALL 'YKVTCHKV' USING BY REFERENCE SG-VERSION-NUM
                                              SG-VERSION-DIFF
           DISPLAY 'KVTCHKV DIFF=' SG-VERSION-DIFF

           MOVE 'md5 -fin input.txt -fout out.txt -o' TO SG-PARAMS
           MOVE 35 TO SG-PARAMS-LEN
           CALL 'HASH' USING BY REFERENCE SG-PARAMS SG-PARAMS-LEN SG-RC
           DISPLAY 'HASH MD5 RC=' SG-RC

           MOVE 'hmcsha1 -fin input.txt' TO SG-PARAMS
           MOVE 22 TO SG-PARAMS-LEN
           CALL 'YHASH' USING BY REFERENCE SG-PARAMS SG-PARAMS-LEN SG-RC
           DISPLAY 'HASH SENZA MD1 RC=' SG-RC

           MOVE 'abc' TO SG-HASH-DATA
           MOVE 3 TO SG-HASH-DATA-LEN
           SET SG-BLOCK-ONLY TO TRUE
           CALL 'SHA256' USING BY REFERENCE SG-HASH-DATA
                SG-HASH-DATA-LEN SG-HASH-STATE SG-HASH-BMODE SG-RC
           DISPLAY 'SHA256 RC=' SG-RC
           IF SG-HASH-STATE(1:4) = X'BA7816BF'
               DISPLAY 'SHA256 PRIMI 4 BYTE=BA7816BF'
           ELSE
               DISPLAY 'SHA256 PRIMI 4 BYTE ERRATI'
           END-IF

           MOVE 'cmp -lib lib.cdl -fin input.txt' TO SG-PARAMS
           MOVE 31 TO SG-PARAMS-LEN
           CALL 'CODA' USING BY REFERENCE SG-PARAMS SG-PARAMS-LEN SG-RC
           DISPLAY 'CODA CMP RC=' SG-RC

           MOVE 'dcp -lib lib.cdl -fout back.txt -nn input.txt'
               TO SG-PARAMS
           MOVE 45 TO SG-PARAMS-LEN
           CALL 'CODA' USING BY REFERENCE SG-PARAMS SG-PARAMS-LEN SG-RC
           DISPLAY 'CODA DCP RC=' SG-RC
           CALL 'YCODA' USING BY REFERENCE SG-PARAMS SG-PARAMS-LEN SG-RC
           DISPLAY 'CODA DCP DI NUOVO RC=' SG-RC
      * Il codice della libreria non e' l'esito del batch.
           MOVE 0 TO RETURN-CODE
           STOP RUN.
