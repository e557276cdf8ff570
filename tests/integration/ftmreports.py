"""The report texts a station downloads from a freshly started board, byte for
byte. The daemon writes each element on lines of its own, indented two spaces
per level, every line ending in CR LF; a download starts at the first "<", so
the first line has no indentation."""

# FTM_Progress.xml: no INI file is being loaded.
PROGRESS = (b'<?xml version="1.0" encoding="UTF-8"?>\r\n'
            b'  <DOWNLOAD_STATUS>\r\n'
            b'    DONE\r\n'
            b'  </DOWNLOAD_STATUS>\r\n')

# FTM_TestModeOp.xml: the four supported tests, and no test in progress.
TESTMODEOP = (b'<?xml version="1.0" encoding="UTF-8"?>\r\n'
              b'  <SUPPORTED_TESTS>\r\n'
              b'    <LED>\r\n'
              b'    </LED>\r\n'
              b'    <THROUGHPUT>\r\n'
              b'    </THROUGHPUT>\r\n'
              b'    <RESET_SWITCH>\r\n'
              b'    </RESET_SWITCH>\r\n'
              b'    <BCOM_WIRELESS>\r\n'
              b'    </BCOM_WIRELESS>\r\n'
              b'  </SUPPORTED_TESTS>\r\n'
              b'  <ACTIVE_TEST>\r\n'
              b'  </ACTIVE_TEST>\r\n')

FRESH_REPORTS = {
    b"FTM_Progress.xml": PROGRESS,
    b"FTM_TestModeOp.xml": TESTMODEOP,
}
