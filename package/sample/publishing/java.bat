@rem Stands in for the Java runtime: notes what the publishing utility is run with.
@echo java %* > published.txt
