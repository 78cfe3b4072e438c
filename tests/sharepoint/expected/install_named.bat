echo "C:\SPS Bin\stsadm.exe" -o addwppack -url http://portal:8080 -globalinstall -force -filename "C:\Web Parts\Enterprise.Sharepoint.CAB" > "C:\Web Parts\InstallSharePointWebPartLog.txt"
"C:\SPS Bin\stsadm.exe" -o addwppack -url http://portal:8080 -globalinstall -force -filename "C:\Web Parts\Enterprise.Sharepoint.CAB" >> "C:\Web Parts\InstallSharePointWebPartLog.txt"
echo "C:\SPS Bin\stsadm.exe" -o addwppack -url http://portal:8080 -force -filename "C:\Web Parts\Enterprise.Sharepoint.CAB" >> "C:\Web Parts\InstallSharePointWebPartLog.txt"
"C:\SPS Bin\stsadm.exe" -o addwppack -url http://portal:8080 -force -filename "C:\Web Parts\Enterprise.Sharepoint.CAB" >> "C:\Web Parts\InstallSharePointWebPartLog.txt"
"C:\SPS Bin\stsadm.exe" -o addpath -url http://REPORTS1/kestrelreportviewers11/ -type exclusion
"C:\SPS Bin\stsadm.exe" -o addpath -url http://REPORTS1/tarnwick/ -type exclusion
"C:\SPS Bin\stsadm.exe" -o addpath -url http://REPORTS1/enterprisereportscs/ -type exclusion
"C:\SPS Bin\stsadm.exe" -o addpath -url http://REPORTS1/AnalysisHelp/ -type exclusion
"C:\SPS Bin\stsadm.exe" -o addpath -url http://REPORTS1/AnalysisViewer/ -type exclusion
"C:\SPS Bin\stsadm.exe" -o addpath -url http://REPORTS1/Styles/ -type exclusion
iisreset
