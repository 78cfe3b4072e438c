"C:\SPS Bin\stsadm.exe" -o deletewppack -name Enterprise.Sharepoint.Cab > "C:\Web Parts\UnInstallSharePointWebPartLog.txt"
