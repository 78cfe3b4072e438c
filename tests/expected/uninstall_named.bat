"C:\SPS Bin\stsadm.exe" -o deletewppack -name Enterprise.Sharepoint.Cab -url http://portal:8080 > "C:\Web Parts\UnInstallSharePointWebPartLog.txt"
